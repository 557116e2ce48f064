// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetModelUpgrade.h"

#include "netupgrade/NetInstallJob.h"
#include "netupgrade/NetInstaller.h"
#include "netupgrade/NetMarkerFile.h"
#include "netupgrade/NetResumeJob.h"
#include "netupgrade/NetTexts.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"
#include "protocol/Progress.h"
#include "protocol/Statuses.h"

#include <utility>

namespace command = protocol::command;
namespace nettext = netupgrade::nettext;
namespace status = protocol::status;
using netupgrade::NetBlockAction;
using netupgrade::netBlockReply;
using netupgrade::NetInstaller;
using netupgrade::NetInstallJob;
using netupgrade::NetMarkerFile;
using netupgrade::NetResumeEvent;
using netupgrade::NetResumeJob;
using netupgrade::signedPackagesOnly;
using package::NetImage;
using platform::logNet;
using platform::logNetBytes;
using platform::Platform;
using protocol::filled;
using protocol::wholeProgress;

NetModelUpgrade::NetModelUpgrade(QObject *parent, const Platform &platform)
    : QObject(parent),
      m_platform(platform),
      m_receiver([this] { return m_installing || (m_runActive && m_runActive()); },
                 signedPackagesOnly(platform.paths.keys)),
      m_archive(platform.paths.netArchive)
{
    m_gateTimer.setSingleShot(true);
    m_gateTimer.setInterval(platform.timeOuts.netGateReopen);
    connect(&m_gateTimer, &QTimer::timeout, this, &NetModelUpgrade::openGate);
}

NetModelUpgrade::~NetModelUpgrade()
{
    if (m_job)
        m_job->wait();
    if (m_resume)
        m_resume->wait();
}

void NetModelUpgrade::setInstallReport(std::function<void(const QString &version)> started,
                                       std::function<void(bool succeeded)> ended)
{
    m_installStarted = std::move(started);
    m_installEnded = std::move(ended);
}

void NetModelUpgrade::slotReceiveData(const QByteArray &datas)
{
    qCDebug(logNetBytes) << "received" << datas.toHex(' ');
    // After a damaged length field, frames that the sender repeats later must not be lost.
    if (m_sinceLastByte.isValid() &&
        m_sinceLastByte.hasExpired(m_platform.timeOuts.netAssembly.count()))
        m_receiver.dropPartialFrame();
    for (int i = 0; i < datas.size() && m_receiver.isListening(); ++i) {
        const auto action = m_receiver.feed(quint8(datas.at(i)));
        if (!m_receiver.isListening())
            m_gateTimer.start();
        if (action)
            handle(*action);
    }
    m_sinceLastByte.start();
}

void NetModelUpgrade::handle(const NetBlockAction &action)
{
    if (!action.line.isEmpty())
        emit message({action.line});
    switch (action.kind) {
    case NetBlockAction::Kind::Answer:
        if (action.status == status::checksumError)
            qCDebug(logNet) << "checksumError";
        reply(action.word, action.status);
        break;
    case NetBlockAction::Kind::Create:
        if (m_archive.create())
            qCDebug(logNet) << "Create file success.";
        else
            qCDebug(logNet) << "Faild to create file";
        store(action);
        break;
    case NetBlockAction::Kind::Append:
        store(action);
        break;
    case NetBlockAction::Kind::Finish:
        finish(action);
        break;
    }
}

void NetModelUpgrade::store(const NetBlockAction &action)
{
    if (!m_archive.append(action.data)) {
        reply(action.word, status::refused);
        return;
    }
    m_receiver.stored();
    reply(action.word, status::done);
}

void NetModelUpgrade::finish(const NetBlockAction &action)
{
    if (!m_archive.append(action.data)) {
        m_receiver.forgetLastBlock();
        reply(action.word, status::refused);
        return;
    }
    m_archive.close();
    install(action.header);
}

void NetModelUpgrade::reply(quint16 word, quint8 status)
{
    respond(netBlockReply(word, status));
}

void NetModelUpgrade::respond(const QByteArray &datas)
{
    qCDebug(logNetBytes) << "answered" << datas.toHex(' ');
    emit signalResponse(datas);
    openGate();
}

void NetModelUpgrade::openGate()
{
    m_gateTimer.stop();
    m_receiver.listen();
}

void NetModelUpgrade::install(const NetImage &header)
{
    m_installing = true;
    // Only the end of the commands starts listening again: a sender that repeats the last block
    // because it has no answer must not mistake a refusal for a failed install.
    m_gateTimer.stop();
    if (m_installStarted)
        m_installStarted(QString::fromLatin1(header.version.constData(), header.version.size()));
    m_job = new NetInstallJob(m_platform, header, this);
    connect(m_job, &NetInstallJob::message, this, &NetModelUpgrade::message);
    connect(m_job, &NetInstallJob::progress, this,
            [this](double percent) { emit slotProgressValueChanged(percent, wholeProgress); });
    connect(m_job, &NetInstallJob::done, this, &NetModelUpgrade::onInstallDone);
    m_job->start();
}

void NetModelUpgrade::onInstallDone(bool succeeded, const QString &lastLine)
{
    m_job->wait();
    m_job->deleteLater();
    m_job.clear();
    if (m_installEnded)
        m_installEnded(succeeded);
    if (!succeeded) {
        endInstalling();
        openGate();
        emit message({lastLine});
        return;
    }
    respond(nettext::upgradingTrue());
    emit message({filled(nettext::readyToReboot)});
    QTimer::singleShot(m_platform.pauses.beforeModuleReboot, this, &NetModelUpgrade::reboot);
}

void NetModelUpgrade::resume(const std::function<void(const NetResumeEvent &event)> &report)
{
    if (!NetMarkerFile(m_platform).exists())
        return;
    m_installing = true;
    m_resume = new NetResumeJob(m_platform, this);
    connect(m_resume, &NetResumeJob::reported, this, report);
    connect(m_resume, &NetResumeJob::done, this, &NetModelUpgrade::onResumeDone);
    m_resume->start();
}

void NetModelUpgrade::onResumeDone(bool reboots)
{
    m_resume->wait();
    m_resume->deleteLater();
    m_resume.clear();
    if (reboots)
        QTimer::singleShot(m_platform.pauses.beforeModuleReboot, this, &NetModelUpgrade::reboot);
    else
        endInstalling();
}

void NetModelUpgrade::reboot()
{
    NetInstaller(m_platform, {}).rebootModule();
    // The module reboots. If it does not (no permission), the agent must not stay busy.
    QTimer::singleShot(m_platform.timeOuts.runGuard, this, &NetModelUpgrade::endInstalling);
}

void NetModelUpgrade::endInstalling()
{
    m_installing = false;
    m_receiver.forgetLastBlock();
}

void NetModelUpgrade::noticeUpgradingFalse()
{
    // The module has not restarted, so this is not about the image being installed, and its sender
    // must not mistake the answer for that to its last block.
    if (m_job || m_resume) {
        qCDebug(logNet) << "a notice of a reboot during an install";
        return;
    }
    reply(command::writeBlock, status::done);
    respond(QByteArray(nettext::upgradingFalse()));
}
