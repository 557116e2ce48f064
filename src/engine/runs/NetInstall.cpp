// SPDX-License-Identifier: Apache-2.0
#include "engine/runs/NetInstall.h"

#include "engine/report/EngineOutput.h"
#include "engine/report/RunProgress.h"
#include "engine/report/RunReporter.h"
#include "engine/runs/RunEnd.h"
#include "netupgrade/NetInstaller.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Progress.h"
#include "protocol/Reply.h"
#include "protocol/Statuses.h"

#include <QThread>

namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace status = protocol::status;
using bytes::ByteSource;
using netupgrade::BlocksGate;
using netupgrade::NetArchive;
using netupgrade::NetInstaller;
using netupgrade::NetInstallVariant;
using netupgrade::NetReport;
using netupgrade::signedPackagesOnly;
using package::NetImage;
using package::readNetImage;
using platform::logEngine;
using platform::Platform;
using protocol::Reply;
using protocol::wholeProgress;

namespace engine {

namespace {

QString versionOfImage(const NetImage &head)
{
    return QString::fromLatin1(head.version.constData(), head.version.size());
}

} // namespace

NetInstall::NetInstall(const Parts &parts, const Platform &platform)
    : m_parts(parts), m_platform(platform), m_gate(signedPackagesOnly(platform.paths.keys))
{
}

NetReport NetInstall::reports()
{
    NetReport report;
    report.text = [this](const QString &line) { m_parts.output.say(line); };
    report.keyed = [this](const QStringList &list) { m_parts.output.list(list); };
    report.progress = [this](double percent) { m_parts.progress.show(percent); };
    return report;
}

bool NetInstall::installFromPackage(ByteSource &image)
{
    NetInstaller installer(m_platform, reports());
    m_parts.report.installing(versionOfImage(readNetImage(image)));
    const bool installed = installer.installImage(image);
    m_parts.report.installed(installed);
    m_parts.report.written(installed);
    return installed;
}

void NetInstall::sendStatus(quint16 word, quint8 status)
{
    if (!m_parts.send(word, status))
        m_parts.finish(RunOutcome::deviceSentImage(false, 0.0));
}

void NetInstall::takeFrame(const Reply &frame)
{
    if (!frame.isExtended())
        return;
    if (frame.word() == command::enterUpdateMode) {
        qCDebug(logEngine) << "IntoUploadNet";
        if (!refuses(m_gate.enter(), command::enterUpdateMode))
            sendStatus(command::enterUpdateMode, status::done);
    } else if (frame.word() == command::writeBlock) {
        takeBlock(frame);
    }
}

/** Refuses a frame of the device's transfer, if it has to. */
bool NetInstall::refuses(const BlocksGate::Decision &gate, quint16 word)
{
    if (!gate.line.isEmpty())
        m_parts.output.say(gate.line);
    if (gate.isRefused)
        sendStatus(word, status::refused);
    return gate.isRefused;
}

void NetInstall::takeBlock(const Reply &frame)
{
    const QByteArray numbered = frame.payload().mid(mcu::resultOffset - mcu::payloadOffset);
    if (refuses(m_gate.block(m_image.isFirst(numbered), m_image.isLast(numbered)),
                command::applicationStatus))
        return;
    const auto piece = m_image.take(numbered);
    if (!piece) {
        sendStatus(command::applicationStatus, status::refused);
        return;
    }
    if (piece->isFirst && !createArchive())
        return;
    const bool written = m_archive && m_archive->append(piece->bytes);
    sendStatus(command::applicationStatus, written ? status::done : status::refused);
    if (written && piece->isLast)
        installReceived();
}

bool NetInstall::createArchive()
{
    m_archive = std::make_unique<NetArchive>(m_platform.paths.netArchive);
    if (m_archive->create())
        return true;
    qCDebug(logEngine) << "Faild to create file";
    m_archive.reset();
    sendStatus(command::applicationStatus, status::refused);
    m_parts.finish(RunOutcome::deviceSentImage(false, wholeProgress));
    return false;
}

/** Sends the result to the device, and reboots the module after a success. */
void NetInstall::installReceived()
{
    m_archive->close();
    m_archive.reset();
    NetInstaller installer(m_platform, reports());
    m_parts.report.installing(versionOfImage(m_image.head()));
    const bool installed = installer.install(NetInstallVariant::Quiet, m_image.head());
    if (installed)
        QThread::msleep(static_cast<unsigned long>(m_platform.pauses.quietInstall.count()));
    sendStatus(command::applicationStatus, installed ? status::done : status::refused);
    m_parts.report.installed(installed);
    m_parts.finish(RunOutcome::deviceSentImage(installed, wholeProgress));
    if (installed)
        installer.rebootModule();
}

} // namespace engine
