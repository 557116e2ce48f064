// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"

#include "engine/EngineParts.h"
#include "engine/report/RunWords.h"
#include "platform/Log.h"
#include "protocol/Progress.h"
#include "protocol/WireText.h"
#include "upload/CoreUpload.h"

#include <algorithm>

namespace action = engine::action;
namespace runWord = engine::runWord;
namespace text = engine::text;
namespace upgradeMode = planning::upgradeMode;
using engine::CommandChannel;
using engine::CommandResult;
using engine::DeviceLinks;
using engine::EngineParts;
using engine::EngineSinks;
using engine::Event;
using engine::ImageWriter;
using engine::LinkFactory;
using engine::RunClaim;
using engine::RunEvent;
using engine::RunEvents;
using engine::RunGuard;
using engine::RunOutcome;
using platform::logEngine;
using platform::logEngineBytes;
using platform::Platform;
using protocol::filled;
using protocol::Reply;
using protocol::wholeProgress;

namespace {

constexpr char versionQuery[] = "\r\nA00GET VER INF\r\n";

Event eventOf(CommandResult result)
{
    switch (result) {
    case CommandResult::Answer:
        return Event::Answer;
    case CommandResult::Refusal:
        return Event::Refusal;
    case CommandResult::ShortAnswer:
        return Event::ShortAnswer;
    case CommandResult::Silence:
        break;
    }
    return Event::Silence;
}

} // namespace

ControlCenter::ControlCenter(const Platform &platform, const LinkFactory &links, QObject *parent)
    : QObject(parent),
      m_events(new RunEvents(this)),
      m_parts(std::make_unique<EngineParts>(
          EngineSinks{
              [this](const QStringList &list) { emit message(list); },
              [this](const RunEvent &event) { emit m_events->reported(event); },
              [this](double percent) { emit progressValueChanged(percent, wholeProgress); }},
          platform, links, this))
{
    qRegisterMetaType<RunEvent>();
    connectParts();
}

ControlCenter::~ControlCenter()
{
    qCDebug(logEngine) << "ThreadObject destroy";
}

void ControlCenter::connectParts()
{
    EngineParts &parts = *m_parts;
    CoreUpload *const uploader = &parts.writer.uploader();
    uploader->setLink(parts.links.activeLink());
    connect(&parts.links, &DeviceLinks::switched, uploader, &CoreUpload::setLink);
    connect(&parts.links, &DeviceLinks::received, this, &ControlCenter::onChunk);
    connect(&parts.links, &DeviceLinks::networkConnected, this, &ControlCenter::netconnected);
    connect(&parts.links, &DeviceLinks::networkDisconnected, this, &ControlCenter::netdisconnected);

    connect(&parts.channel, &CommandChannel::replied, this,
            [&parts](CommandResult result, const Reply &reply) {
                parts.steps.handle(eventOf(result), reply);
            });
    connect(&parts.channel, &CommandChannel::updateModeReplied, &parts.writer,
            &ImageWriter::takeUpdateModeReply);
    connect(&parts.channel, &CommandChannel::deviceSent, this,
            [&parts](const Reply &frame) { parts.netInstall.takeFrame(frame); });
    connect(&parts.channel, &CommandChannel::textReceived, this,
            [&parts](const QString &line) { parts.output.say(line); });

    connect(uploader, &CoreUpload::progressValueChanged, &parts.guard, &RunGuard::keepAlive);
    connect(uploader, &CoreUpload::progressValueChanged, this,
            &ControlCenter::slotProgressValueChanged);
    connect(uploader, &CoreUpload::message, &parts.guard, &RunGuard::keepAlive);
    connect(uploader, &CoreUpload::message, this, &ControlCenter::slotMessage);
    connect(&parts.writer, &ImageWriter::starting, this, [&parts] { parts.progress.restart(); });
    connect(&parts.writer, &ImageWriter::ended, this,
            [&parts](bool written) { parts.steps.handle(parts.upgrade.takeImageResult(written)); });
    connect(&parts.guard, &RunGuard::ended, m_events, &RunEvents::end);
    connect(&parts.guard, &RunGuard::expired, this, &ControlCenter::onRunGuardExpired);
}

void ControlCenter::requestDisconnect()
{
    m_parts->links.requestDown();
}

bool ControlCenter::runActive() const
{
    return m_parts->guard.isActive();
}

RunClaim &ControlCenter::runClaim()
{
    return m_parts->guard.claim();
}

double ControlCenter::uploadPercent() const
{
    return CoreUpload::m_FWPersent.load(std::memory_order_relaxed);
}

void ControlCenter::resetUploadPercent()
{
    CoreUpload::m_FWPersent.store(0.0, std::memory_order_relaxed);
}

QString ControlCenter::getMergeFWJSON(QString fileName)
{
    return m_parts->shelf.list(fileName, runClaim().isHeld());
}

QString ControlCenter::getMergeFWJSONForUpgrade(const QString &fileName)
{
    return runClaim().isHeld() ? m_parts->shelf.list(fileName, true)
                               : m_parts->shelf.listForUpgrade(fileName);
}

bool ControlCenter::checkNetFirmware(QString filePath)
{
    return m_parts->builder.checkNet(filePath);
}

int ControlCenter::checkFWMmd5(const QString &fileName)
{
    return int(m_parts->shelf.check(fileName));
}

QStringList ControlCenter::getFWInfoByChipType(int chipType) const
{
    return m_parts->shelf.entryOf(chipType);
}

QString ControlCenter::getTypeAndIndex(int line, int index) const
{
    return m_parts->rows.value(line, index);
}

void ControlCenter::setTypeAndIndex(int line, int index, const QString &value)
{
    m_parts->rows.setValue(line, index, value);
}

void ControlCenter::checkUpgradeFlag()
{
    m_parts->steps.perform(&action::choose);
}

QByteArray ControlCenter::getCommandOfProductInformation(int currentLineIndex)
{
    return m_parts->infoWrite.payloadOf(currentLineIndex);
}

int ControlCenter::currentStep() const
{
    return int(m_parts->steps.step());
}

bool ControlCenter::timersIdle() const
{
    return !m_parts->writer.isWaiting() && !m_parts->channel.isWaiting() &&
           !m_parts->guard.isWatching();
}

void ControlCenter::send(int wCMD)
{
    m_parts->channel.send(quint16(wCMD));
}

void ControlCenter::sendWriteStr(int wCMD, int nDataCnt, QList<int> cExDataStr)
{
    QByteArray data;
    const int count = std::clamp(nDataCnt, 0, int(cExDataStr.size()));
    data.reserve(count);
    for (int i = 0; i < count; ++i)
        data.append(char(cExDataStr.at(i) & 0xFF));
    m_parts->channel.send(quint16(wCMD), data);
}

bool ControlCenter::write(char *m_cSendBuftemp, size_t length)
{
    const DeviceLinks::Kind link = m_parts->links.active();
    if (link == DeviceLinks::Kind::None)
        return false;
    if (m_parts->channel.transmit(QByteArray(m_cSendBuftemp, int(length))))
        return true;
    qCDebug(logEngine) << "send failed";
    disconnected();
    m_parts->output.say(filled(link == DeviceLinks::Kind::Serial ? text::serialSendFailed
                                                                 : text::networkSendFailed));
    return false;
}

void ControlCenter::sendAppStatus(int wCMD, quint8 status)
{
    m_parts->netInstall.sendStatus(quint16(wCMD), status);
}

void ControlCenter::slotReceiveDatas(QByteArray datas)
{
    m_parts->channel.receive(datas);
}

void ControlCenter::slotConnect(QString port)
{
    m_parts->links.open(port);
}

void ControlCenter::slotConnectWithBandrate(QString port, QString bandrate)
{
    m_parts->links.setBaudRate(bandrate);
    m_parts->links.open(port);
}

void ControlCenter::slotAutoConnect(QString port)
{
    m_parts->links.open(port);
}

void ControlCenter::connectNet(QString IP, int port)
{
    m_parts->links.connectNetwork(IP, quint16(port));
}

void ControlCenter::disconnected()
{
    m_parts->links.close();
}

void ControlCenter::slotGetVersion()
{
    m_parts->channel.expectText();
    QByteArray query(versionQuery);
    write(query.data(), size_t(query.size()));
}

/** The engine's own requests have no reply: a refused one writes a line to the log. */
bool ControlCenter::refusesDuringRun(const char *request) const
{
    if (runActive())
        qCWarning(logEngine) << "refused while a run is active:" << request;
    return runActive();
}

void ControlCenter::getProductInfo()
{
    if (refusesDuringRun("read of product information"))
        return;
    if (!m_parts->links.isOpen()) {
        m_parts->output.list(
            {QString::fromLatin1(protocol::key::readProductInfo), filled(text::notConnected)});
        return;
    }
    m_parts->end.finish(RunOutcome::silent());
    m_parts->guard.beginUnwatched();
    m_parts->upgrade.setMode(upgradeMode::readProductInformation);
    m_parts->infoRead.begin();
    m_parts->steps.handle(Event::StartInfoRead);
}

void ControlCenter::readBootCodeInfo()
{
    m_parts->steps.perform(&action::readBootcode);
}

void ControlCenter::readProductInfo()
{
    m_parts->steps.perform(&action::readProductInfo);
}

void ControlCenter::readVersionInfo()
{
    m_parts->steps.perform(&action::readVersion);
}

void ControlCenter::setVirtualVersion()
{
    m_parts->steps.perform(&action::setVirtualVersion);
}

void ControlCenter::setProductInfo(QStringList TypeAndIndex)
{
    if (refusesDuringRun("write of product information"))
        return;
    m_parts->end.finish(RunOutcome::silent());
    m_parts->guard.beginUnwatched();
    m_parts->infoWrite.setRows(TypeAndIndex);
    m_parts->steps.handle(Event::StartInfoWrites);
}

void ControlCenter::writeProductInformation()
{
    m_parts->steps.perform(&action::writeInfo);
}

void ControlCenter::convertAllProductInfo()
{
    m_parts->infoRead.show();
}

void ControlCenter::uploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel)
{
    beginRun();
    m_parts->upgrade.begin(upgradeModel);
    if (const auto start = m_parts->upgrade.start(fileName, TypeAndIndex))
        m_parts->steps.handle(*start);
    else
        m_parts->end.finish(RunOutcome::silent());
}

void ControlCenter::beginRun()
{
    m_parts->end.finish(RunOutcome::silent());
    m_parts->guard.begin();
}

void ControlCenter::checkVersion()
{
    m_parts->steps.perform(&action::choose);
}

void ControlCenter::mergeFW(QString fileName, QString jsonData)
{
    m_parts->builder.build(fileName, jsonData);
}

void ControlCenter::mergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM,
                                     QString newVersion)
{
    m_parts->builder.addNet(fpFWM, fpBIN, newfpFWM, newVersion);
}

/** Counts as a run: the uploader reports nothing about a file that it cannot use, and only the run
 *  guard ends the wait then. */
bool ControlCenter::slotWriteMultBoard(uchar mcuType, uchar mcuIndex, QString filename)
{
    if (refusesDuringRun("write of a single file"))
        return true;
    beginRun();
    m_parts->upgrade.beginFile();
    m_parts->steps.handle(Event::StartFile);
    m_parts->writer.writeFile(mcuType, mcuIndex, filename);
    return true;
}

void ControlCenter::slotProgressValueChanged(double bytesSent, double bytesTotal)
{
    Q_UNUSED(bytesTotal)
    m_parts->progress.show(bytesSent);
}

void ControlCenter::slotMessage(QStringList messageIn)
{
    m_parts->writer.takeMessage(messageIn);
}

void ControlCenter::onTimeOutSendUploadCommand()
{
    m_parts->writer.onUpdateModeTimeOut();
}

void ControlCenter::onTimeOutSendOtherCommand()
{
    qCDebug(logEngine) << "onTimeOutSendOtherCommand" << currentStep();
    m_parts->channel.onTimeOut();
}

void ControlCenter::onRunGuardExpired()
{
    qCDebug(logEngine) << "run shows no sign of life in step" << currentStep();
    m_parts->report.giveUp(m_parts->rows.currentName(), QString::fromLatin1(runWord::noSignOfLife));
    m_parts->steps.handle(Event::NoSignOfLife);
}

/** Each chunk has one receiver. Bytes in the same chunk as the reply that starts an image were sent
 *  before the image's first block, so they are not for the uploader. */
void ControlCenter::onChunk(const QByteArray &datas)
{
    CoreUpload &uploader = m_parts->writer.uploader();
    if (!uploader.awaitsAcknowledgement()) {
        m_parts->channel.receive(datas);
        return;
    }
    uploader.slotReceiveDatas(datas);
    qCDebug(logEngineBytes) << "in" << datas.toHex(' ');
}
