// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/RunWords.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "links/LinkState.h"
#include "package/ImageRecord.h"
#include "planning/CandidateWalk.h"
#include "platform/Log.h"
#include "protocol/ChipTypes.h"

#include <utility>

namespace {

constexpr double wholeProgress = 100.0;
/** A row needs its name, chip type and chip index. */
constexpr int fewestFields = field::chipIndex + 1;

} // namespace

void ControlCenter::uploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel)
{
    qCDebug(logEngine) << "uploadfileName:" << fileName;
    resetRun(upgradeModel);
    PackageCheck check = PackageCheck::NotChecked;
    if (!fileName.isEmpty()) {
        check = m_runPackage.open(packagePath(fileName));
        reportUnopened(check);
    }
    {
        const std::lock_guard lock(m_mutex);
        m_TypeAndIndexs =
            TypeAndIndexTable(TypeAndIndexTable::completeRows(TypeAndIndex, upgradeModel));
        m_mcuIndex = 0;
    }
    qCDebug(logEngine) << "TypeAndInex:" << rowCount();
    if (packageStartsRun(check))
        startMode(upgradeModel);
}

void ControlCenter::resetRun(int upgradeModel)
{
    endRun();
    m_run = m_claim.take();
    m_runActive = true;
    m_report.begin();
    m_runGuard->start();
    setMcuIndex(0);
    m_step = step::idle;
    m_operationKind = upgradeModel;
    m_retryCount = 0;
    m_enterRetries = 0;
    m_writeRetries = 0;
    m_mainMcuFirst = false;
    m_mainFirstRow = -1;
    m_imageWritten = false;
    const std::lock_guard lock(m_mutex);
    m_erasingShown = false;
}

void ControlCenter::startMode(int upgradeModel)
{
    switch (upgradeModel) {
    case upgradeMode::imagesOnly:
        m_mask = MatchMask::anyVersion();
        m_step = step::bootcode;
        checkVersion();
        break;
    case upgradeMode::newerOnly:
        m_mask = MatchMask::newerVersion();
        m_step = step::modelName;
        say(filled(text::readModelName));
        sendModelNameRead();
        break;
    case upgradeMode::forced:
        m_mask = MatchMask::anyVersion();
        m_step = step::bootcode;
        readBootCodeInfo();
        break;
    default:
        endRun();
        break;
    }
}

/** Items that need nothing sent are passed in a loop: a client may list any number of them. */
void ControlCenter::checkVersion()
{
    m_checkAgain = true;
    if (m_checkingVersions)
        return;
    m_checkingVersions = true;
    while (std::exchange(m_checkAgain, false))
        checkOneItem();
    m_checkingVersions = false;
}

void ControlCenter::checkOneItem()
{
    qCDebug(logEngine) << "checkVersion";
    if (!hasCurrentRow()) {
        if (m_step != step::nextItem) {
            endRun();
            return;
        }
        m_step = step::reboot;
        sendReboot();
        return;
    }
    const QStringList row = currentFields();
    if (row.size() == 1) {
        say(filled(text::badListItem, row.first()));
        skipped(runWord::badRow);
        skipItem();
    } else if (row.size() < fewestFields) {
        say(filled(text::shortListItem, row.first()));
        skipped(runWord::badRow);
        skipItem();
    } else if (m_step == step::nextItem && mcuIndex() == m_mainFirstRow) {
        skipItem(); // the main MCU had its turn, whatever came of it
    } else {
        checkUpgradeFlag();
    }
}

/** Before all others the main MCU alone has a turn: then the reads go on, not the images. */
void ControlCenter::skipItem()
{
    if (m_mainMcuFirst)
        resumeReads();
    else
        nextItem();
}

void ControlCenter::nextItem()
{
    m_step = step::nextItem;
    setMcuIndex(mcuIndex() + 1);
    checkVersion();
}

/** The item counts as failed and the run goes on with the next one. */
void ControlCenter::skipFailedItem()
{
    setCurrent(field::result, QString::fromLatin1(result::failed));
    reportRowResult(QString::fromLatin1(result::failed));
    skipItem();
}

void ControlCenter::skipped(const char *why, int entry)
{
    m_report.skip(currentMcu(entry), QString::fromLatin1(why));
}

void ControlCenter::checkUpgradeFlag()
{
    const QStringList row = currentFields();
    qCDebug(logEngine) << "checkUpgradeFlag"
                       << "typeandindex:" << row << "qslUpgradeFlag:" << m_mask.text();
    const Decision decision = decideForRow(row, package().firmwareList, m_mask);
    if (!decision.line.isEmpty())
        say(decision.line);
    switch (decision.verdict) {
    case Decision::Verdict::Send:
        setCurrent(field::upgradeFlag, QStringLiteral("1"));
        upgradeCurrentItem(decision.entry);
        break;
    case Decision::Verdict::NotNewer:
        setCurrent(field::result, QString::fromLatin1(result::failed));
        reportRowResult(QString::fromLatin1(result::notOlder));
        skipped(runWord::notNewer, decision.entry);
        skipItem();
        break;
    case Decision::Verdict::NoMatch:
        skipped(runWord::noMatch);
        skipFailedItem();
        break;
    case Decision::Verdict::NoFirmware:
        slotProgressValueChanged(wholeProgress, wholeProgress);
        setCurrent(field::result, QString::fromLatin1(result::failed));
        reportRowResult(QString::fromLatin1(result::failed));
        say(filled(text::noFirmware, currentName()));
        skipped(runWord::noFirmware);
        skipItem();
        break;
    }
}

void ControlCenter::upgradeCurrentItem(int entry)
{
    if (!currentNamesChip()) {
        say(filled(text::badChip));
        skipped(runWord::badRow, entry);
        skipFailedItem();
        return;
    }
    const int chipType = currentNumber(field::chipType);
    const int chipIndex = currentNumber(field::chipIndex);
    m_step = chipType != 0 || chipIndex != 0 ? step::otherImage : step::mainImage;
    const std::optional<ImageRecord> record = findImage();
    if (packageStopsRun())
        return;
    if (!record) {
        say(filled(text::noImage, currentName()));
        skipped(runWord::noImage, entry);
        skipFailedItem();
        return;
    }
    const bool forModule = chipType == chip::networkModule;
    if (forModule && g_UPGRADTYPE != netImage::installHere &&
        g_UPGRADTYPE != netImage::sendToDevice) {
        skipped(runWord::notHandled, entry);
        skipFailedItem();
        return;
    }
    if (forModule && g_UPGRADTYPE == netImage::installHere) {
        m_report.write(currentMcu(entry), int(record->length));
        upgradeNetFromPackage(*record);
        return;
    }
    const QByteArray image = m_runPackage.source().read(record->imageOffset, record->length);
    if (packageStopsRun())
        return;
    m_report.write(currentMcu(entry), image.size());
    writeMultBoard(quint8(chipType), quint8(chipIndex), image);
}
