// SPDX-License-Identifier: Apache-2.0
// What the lines of the sequencer's table do, in the order of a run.
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "planning/ProductReport.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"
#include "protocol/ProductRecord.h"

namespace {

/** Result bytes behind the two that echo chip type and index. */
constexpr int first = mcu::resultOffset;
constexpr int second = mcu::resultOffset + 1;
constexpr int third = mcu::resultOffset + 2;
constexpr int fourth = mcu::resultOffset + 3;
constexpr int fifth = mcu::resultOffset + 4;

/** The length field of a version reply with three numbers. */
constexpr int threePartVersionLength = 10;

QString decimal(quint8 byte)
{
    return QString::number(byte);
}

} // namespace

void ControlCenter::waitOn() {}

void ControlCenter::sendVirtualVersionRead()
{
    send(command::readVirtualVersion);
    restartCommandTimer();
}

void ControlCenter::startBootcodeReads()
{
    setMcuIndex(0);
    readBootCodeInfo();
}

/** The virtual version only informs: the read goes on without it. */
void ControlCenter::giveUpVirtualVersion()
{
    m_step = step::virtualVersionGivenUp;
    m_retryCount = 0;
    readBootCodeInfo();
}

void ControlCenter::sendModelNameRead()
{
    send(command::readModelName);
    restartCommandTimer();
}

void ControlCenter::takeModelName()
{
    QByteArray name = m_reply.payload();
    while (name.endsWith('\0'))
        name.chop(1);
    const QString device = QString::fromUtf8(name.constData(), name.size());
    const QString firmware = package().model;
    if (device != firmware) {
        sayInChain(filled(text::modelMismatch, firmware, device));
        gaveUp(filled(text::modelMismatch, firmware, device));
        failStep();
        return;
    }
    sayInChain(filled(text::modelMatch));
    m_step = step::bootcode;
    setMcuIndex(0);
    if (m_mask.enables(field::mcuType))
        readBootCodeInfo();
    else
        checkVersion();
}

void ControlCenter::takeBootcode()
{
    const bool runsBootcode = m_reply.at(fourth) != 0;
    const bool infoIsValid = m_reply.at(fifth) != 0;
    setCurrent(field::mcuType, decimal(m_reply.at(third)));
    setCurrent(field::bootcodeFlag, decimal(m_reply.at(fourth)));
    setCurrent(field::productInfoFlag, decimal(m_reply.at(fifth)));
    if (currentIsMainMcu()) {
        sayInChain(filled(runsBootcode ? text::mainInBootcode : text::mainInApplication));
        if (!infoIsValid) {
            refuseInvalidProductInfo();
            return;
        }
    }
    m_step = step::productInfo;
    readProductInfo();
}

void ControlCenter::refuseInvalidProductInfo()
{
    sayInChain(filled(m_reading ? text::invalidInfoStopsRead : text::invalidInfoStopsUpgrade,
                      currentName()));
    gaveUp(filled(text::invalidInfoStopsUpgrade, currentName()));
    failRun(QString::fromLatin1(appStatus::invalidProductInfo), 0.0);
}

void ControlCenter::giveUpBootcode()
{
    if (currentIsMainMcu())
        stopForMainMcu(m_reading ? text::bootcodeStopsRead : text::bootcodeStopsUpgrade);
    else
        nextMcu();
}

void ControlCenter::giveUpProductInfo()
{
    if (currentIsMainMcu())
        stopForMainMcu(m_reading ? text::productInfoStopsRead : text::productInfoStopsUpgrade);
    else
        nextMcu();
}

/** Without the main MCU nothing else of the device can be reached. */
void ControlCenter::stopForMainMcu(const char *words)
{
    sayInChain(filled(words, currentName()));
    gaveUp(filled(words, currentName()));
    failStep();
}

void ControlCenter::takeProductInfo()
{
    setCurrent(field::pcbVersion, decimal(m_reply.at(first)));
    setCurrent(field::speciality, decimal(m_reply.at(second)));
    const bool main = currentIsMainMcu();
    if (main)
        takeMainRecord(ProductRecord::decode(m_reply.payload()));

    const QString bootcodeFlag = currentFields().value(field::bootcodeFlag);
    if (main && !m_reading && m_mainFirstRow < 0 && bootcodeFlag != QLatin1String("0"))
        startMainMcuFirst();
    else
        nextMcu();
}

/** The main MCU names the other MCUs. Only a read takes them up as rows: an upgrade works on
 *  what its client asked for. */
void ControlCenter::takeMainRecord(const ProductRecord &record)
{
    const QStringList lines = productReport::recordLines(record);
    for (const QString &line : lines)
        qCDebug(logEngine).noquote() << line.trimmed();
    if (!m_reading)
        return;
    m_productInfos += lines;
    const std::lock_guard lock(m_mutex);
    if (m_TypeAndIndexs.count() != 1)
        return;
    const QStringList rows = productReport::auxRows(record);
    for (const QString &row : rows)
        m_TypeAndIndexs.append(row);
}

/** Once in a run: a main MCU that stays in its bootcode would otherwise be written for ever. */
void ControlCenter::startMainMcuFirst()
{
    sayInChain(filled(text::mainMcuFirst, currentName()));
    m_mainMcuFirst = true;
    m_mainFirstRow = mcuIndex();
    m_step = step::mainMcuFirst;
    checkVersion();
}

/** The main MCU has had its turn, with or without an image: the other rows are still unread. */
void ControlCenter::resumeReads()
{
    m_mainMcuFirst = false;
    nextMcu();
}

void ControlCenter::nextMcu()
{
    setMcuIndex(mcuIndex() + 1);
    m_step = step::bootcode;
    readBootCodeInfo();
}

void ControlCenter::takeVersion()
{
    const QString major = decimal(m_reply.at(first));
    const QString minor = decimal(m_reply.at(second));
    setCurrent(field::ver1, major);
    setCurrent(field::ver2, minor);
    if (m_reply.length() == threePartVersionLength) {
        const QString patch = decimal(m_reply.at(third));
        setCurrent(field::ver3, patch);
        sayInChain(filled(text::version3, currentName(), major, minor, patch));
    } else {
        sayInChain(filled(text::version2, currentName(), major, minor));
    }
    setMcuIndex(mcuIndex() + 1);
    m_step = step::version;
    readVersionInfo();
}

void ControlCenter::giveUpVersion()
{
    setMcuIndex(mcuIndex() + 1);
    if (!hasCurrentRow())
        sayInChain(filled(text::allVersionsRead));
    m_step = step::version;
    readVersionInfo();
}

void ControlCenter::versionsDone()
{
    if (m_reading) {
        endRun();
        convertAllProductInfo();
        return;
    }
    setMcuIndex(0);
    m_step = step::nextItem;
    checkVersion();
}

void ControlCenter::pollProductId()
{
    send(command::readProductId);
    restartCommandTimer();
}

void ControlCenter::mainMcuIsBack()
{
    m_retryCount = 0;
    if (m_mainMcuFirst)
        resumeReads();
    else
        nextItem();
}

void ControlCenter::sendReboot()
{
    say(filled(text::sendReboot));
    m_report.restarting();
    restartCommandTimer();
    send(command::reboot);
}

void ControlCenter::awaitSystem()
{
    m_retryCount = 0;
    restartCommandTimer();
}

void ControlCenter::systemIsBack()
{
    m_retryCount = 0;
    if (m_operationKind == upgradeMode::imagesOnly) {
        qCDebug(logEngine) << "UploadEnd1";
        writeInfoAfterRun();
        return;
    }
    if (m_imageWritten && !package().version.isEmpty()) {
        say(filled(text::startVirtualVersion));
        m_step = step::setVirtualVersion;
        setVirtualVersion();
        return;
    }
    m_step = step::done;
    say(filled(text::ignoreVirtualVersion));
    say(filled(text::nothingUpgraded));
    finishRun(QString::fromLatin1(appStatus::success));
}

void ControlCenter::takeVirtualVersionSet()
{
    const bool accepted = m_reply.at(mcu::resultOffset) == 0;
    m_step = accepted ? step::done : step::virtualVersionRefused;
    say(filled(accepted ? text::virtualVersionSet : text::virtualVersionNotSet));
    say(filled(accepted ? text::allSuccess : text::allButVirtualVersion));
    finishRun(QString::fromLatin1(appStatus::success));
}
