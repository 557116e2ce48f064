// SPDX-License-Identifier: Apache-2.0
// The network module's own firmware: out of a package, or sent by the device in extended frames.
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Steps.h"
#include "links/CoreCOMQ.h"
#include "links/LinkState.h"
#include "netupgrade/NetInstaller.h"
#include "package/ImageRecord.h"
#include "platform/Log.h"
#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/Statuses.h"

#include <QThread>

namespace {

constexpr double wholeProgress = 100.0;

// An extended block: number (16 bit), flags, bytes. The first block bears the number 1.
constexpr int numberOffset = mcu::resultOffset;
constexpr int flagsOffset = mcu::resultOffset + 2;
constexpr int bytesOffset = mcu::resultOffset + 3;
constexpr int firstBlock = 1;

QString versionOfImage(const NetImage &head)
{
    return QString::fromLatin1(head.version.constData(), head.version.size());
}

QByteArray withoutPadding(QByteArray bytes)
{
    while (bytes.endsWith(char(block::lastPadding)))
        bytes.chop(1);
    return bytes;
}

} // namespace

NetReport ControlCenter::netReport()
{
    NetReport report;
    report.text = [this](const QString &line) { say(line); };
    report.keyed = [this](const QStringList &list) { emit message(list); };
    report.progress = [this](double percent) { slotProgressValueChanged(percent, wholeProgress); };
    return report;
}

/** Blocks this thread until the last command has ended; the run goes on behind it. */
void ControlCenter::upgradeNetFromPackage(const ImageRecord &record)
{
    PartSource image(m_runPackage.source(), record.imageOffset, record.length);
    const NetImage head = readNetImage(image);
    if (packageStopsRun())
        return;
    NetInstaller installer(m_platform, netReport());
    m_report.installing(versionOfImage(head));
    const bool installed = installer.installImage(image);
    m_report.installed(installed);
    m_report.written(installed);
    keepRunAlive();
    if (packageStopsRun())
        return;
    if (!installed) {
        skipFailedItem();
        return;
    }
    m_imageWritten = true;
    setCurrent(field::result, QString::fromLatin1(result::success));
    reportRowResult(QString::fromLatin1(result::success));
    skipItem();
}

/** Over the serial link only: it is the device's channel to the module. */
void ControlCenter::sendAppStatus(int wCMD, quint8 status)
{
    qCDebug(logEngine) << "DataProcesssendCMD:" << QString::number(wCMD, 16);
    const QByteArray frame =
        mcu::buildStatusFrame(mcu::replyStart, m_address, quint16(wCMD), status);
    expectReply(ReceiveMode::Extended);
    keepRunAlive();
    qCDebug(logEngineBytes) << "out" << frame.toHex(' ');
    const bool sent =
        m_serial != nullptr &&
        m_serial->sendMsg(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
    if (sent)
        return;
    disconnected();
    failNet(0.0);
}

void ControlCenter::failNet(double progress)
{
    m_report.end(false, QByteArray(appStatus::statusFrameFailed).toInt());
    endRun();
    reportNetEnd(progress, QString::fromLatin1(result::failed));
}

/** The console takes status 9 for a failure whatever the row says: the module reboots either way.
 */
void ControlCenter::reportNetEnd(double progress, const QString &rowResult)
{
    emit message(
        {QString::fromLatin1(key::appStatus), QString::fromLatin1(appStatus::statusFrameFailed)});
    slotProgressValueChanged(progress, wholeProgress);
    if (!hasCurrentRow())
        return;
    setCurrent(field::result, rowResult);
    reportRowResult(rowResult);
}

/** Nothing is paired here: the device is the one that asks, and each frame is answered. */
void ControlCenter::takeExtendedFrame(const Reply &frame)
{
    if (!frame.isExtended())
        return;
    if (frame.word() == command::enterUpdateMode) {
        qCDebug(logEngine) << "IntoUploadNet";
        sendAppStatus(command::enterUpdateMode, status::done);
    } else if (frame.word() == command::writeBlock) {
        takeNetBlock(frame);
    }
}

void ControlCenter::takeNetBlock(const Reply &frame)
{
    if (!frame.has(flagsOffset)) {
        sendAppStatus(command::applicationStatus, status::refused);
        return;
    }
    const int number = frame.at(numberOffset) + 256 * frame.at(numberOffset + 1);
    const bool last = frame.at(flagsOffset) == block::lastFlag;
    QByteArray bytes = frame.payload().mid(bytesOffset - mcu::payloadOffset);
    if (last)
        bytes = withoutPadding(bytes);
    if (number == firstBlock) {
        m_netHeader = parseNetImage(bytes);
        m_netArchive = std::make_unique<NetArchive>(m_platform.paths.netArchive);
        if (!m_netArchive->create()) {
            qCDebug(logEngine) << "Faild to create file";
            m_netArchive.reset();
            sendAppStatus(command::applicationStatus, status::refused);
            failNet(wholeProgress);
            return;
        }
        bytes.remove(0, net::archiveOffset);
    }
    const bool written = m_netArchive && m_netArchive->append(bytes);
    sendAppStatus(command::applicationStatus, written ? status::done : status::refused);
    if (written && last)
        installQuietly();
}

/** The device hears of the outcome, and after a success the module reboots. */
void ControlCenter::installQuietly()
{
    m_netArchive->close();
    m_netArchive.reset();
    NetInstaller installer(m_platform, netReport());
    m_report.installing(versionOfImage(m_netHeader));
    const bool installed = installer.install(NetInstallVariant::Quiet, m_netHeader);
    if (installed)
        QThread::msleep(static_cast<unsigned long>(m_platform.pauses.quietInstall.count()));
    sendAppStatus(command::applicationStatus, installed ? status::done : status::refused);
    m_report.installed(installed);
    m_report.end(installed, QByteArray(appStatus::statusFrameFailed).toInt());
    endRun();
    reportNetEnd(wholeProgress, QString::fromLatin1(installed ? result::success : result::failed));
    if (installed)
        installer.rebootModule();
}
