// SPDX-License-Identifier: Apache-2.0
#include "engine/runs/UpgradeRun.h"

#include "engine/package/PackageShelf.h"
#include "engine/package/RunPackage.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunProgress.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "engine/report/RunWords.h"
#include "engine/runs/RunEnd.h"
#include "links/LinkState.h"
#include "planning/CandidateWalk.h"
#include "planning/ImageChoice.h"
#include "planning/RunRules.h"
#include "platform/Log.h"
#include "protocol/ChipTypes.h"
#include "protocol/Progress.h"
#include "protocol/WireText.h"

#include <QThread>

#include <utility>

namespace chip = protocol::chip;
namespace field = package::field;
namespace netImage = links::netImage;
namespace result = planning::result;
namespace upgradeMode = planning::upgradeMode;
using bytes::PartSource;
using package::ImageRecord;
using planning::chooseImage;
using planning::comparesModel;
using planning::decideForRow;
using planning::Decision;
using planning::ImageChoice;
using planning::ImageRules;
using planning::maskOf;
using planning::TypeAndIndexTable;
using platform::logEngine;
using platform::Platform;
using protocol::filled;
using protocol::wholeProgress;
using signing::keyIdText;
using signing::lineOf;
using signing::Verdict;
using signing::wordOf;

namespace engine {

namespace {

ImageRules::Net netImages()
{
    if (g_UPGRADTYPE == netImage::sendToDevice)
        return ImageRules::Net::SendToDevice;
    return g_UPGRADTYPE == netImage::installHere ? ImageRules::Net::Install
                                                 : ImageRules::Net::Refuse;
}

} // namespace

UpgradeRun::UpgradeRun(const Parts &parts, const Platform &platform)
    : m_parts(parts), m_platform(platform)
{
}

void UpgradeRun::begin(int mode)
{
    m_mode = mode;
    beginFile();
    m_imageWritten = false;
    m_parts.rows.setIndex(0);
    m_parts.progress.restart();
    m_parts.report.begin();
}

void UpgradeRun::beginFile()
{
    m_mainIsFirst = false;
    m_mainFirstRow = -1;
}

std::optional<Event> UpgradeRun::start(const QString &fileName, const QStringList &rows)
{
    qCDebug(logEngine) << "uploadfileName:" << fileName;
    RunPackage &package = m_parts.package;
    const PackageCheck check =
        fileName.isEmpty() ? PackageCheck::NotChecked : package.open(packagePath(fileName));
    if (check == PackageCheck::Missing || check == PackageCheck::Unreadable)
        reportUnreadablePackage(m_parts.rows, m_parts.output, m_parts.progress);
    m_parts.rows.reset(TypeAndIndexTable::completeRows(rows, m_mode));
    qCDebug(logEngine) << "TypeAndInex:" << m_parts.rows.count();
    if (package.isFaulty() || !isUsable(check) || package.isFaulty())
        return Event::PackageUnusable;
    // The plan uses this package's list and model, not those of the last list.
    m_parts.shelf.keepForRun(package.source());
    if (package.isFaulty())
        return Event::PackageUnusable;
    return firstEvent();
}

/** Whether a run may continue after its package's check. */
bool UpgradeRun::isUsable(PackageCheck check)
{
    const char *problem = checkProblem(check);
    if (problem != nullptr) {
        m_parts.report.giveUp({}, filled(problem));
        return false;
    }
    m_parts.output.say(filled(text::checksumOk));
    if (!isTrusted())
        return false;
    problem = versionProblem(m_parts.package.source());
    if (problem == nullptr)
        return true;
    if (!m_parts.package.isFaulty()) {
        m_parts.output.say(filled(problem));
        m_parts.report.giveUp({}, filled(problem));
    }
    return false;
}

/** Whether a key allows the use of the package, or no keys are installed. */
bool UpgradeRun::isTrusted()
{
    const Verdict &trust = m_parts.package.trust();
    if (trust.kind == Verdict::Kind::NotRequired)
        return true;
    const bool isAllowed = trust.allowsUse();
    if (isAllowed || trust.reason != Verdict::Reason::None)
        m_parts.report.signature(isAllowed, trust.keyId ? keyIdText(*trust.keyId) : QString(),
                                 isAllowed ? QString::fromUtf8(trust.trustedComment)
                                           : QString::fromLatin1(wordOf(trust.reason)));
    const QString line = lineOf(trust);
    m_parts.output.say(line);
    if (!isAllowed)
        m_parts.report.giveUp({}, line);
    return isAllowed;
}

std::optional<Event> UpgradeRun::firstEvent()
{
    m_mask = maskOf(m_mode);
    switch (m_mode) {
    case upgradeMode::imagesOnly:
        return Event::StartImages;
    case upgradeMode::newerOnly:
    case upgradeMode::forced:
        return comparesModel(m_mode) ? Event::StartNewer : Event::StartForced;
    default:
        return {};
    }
}

Event UpgradeRun::choose()
{
    qCDebug(logEngine) << "checkVersion";
    m_entry.clear();
    const RunRows &rows = m_parts.rows;
    if (!rows.hasCurrent())
        return Event::NoMoreItems;
    // The main MCU was handled, with or without success.
    if (!m_mainIsFirst && rows.index() == m_mainFirstRow)
        return itemDone();
    return decide();
}

Event UpgradeRun::decide()
{
    const QStringList row = m_parts.rows.currentFields();
    const QStringList offers = m_parts.shelf.firmwareList();
    qCDebug(logEngine) << "checkUpgradeFlag"
                       << "typeandindex:" << row << "qslUpgradeFlag:" << m_mask.text();
    const Decision decision = decideForRow(row, offers, m_mask);
    if (decision.verdict == Decision::Verdict::Send ||
        decision.verdict == Decision::Verdict::NotNewer)
        m_entry = offers.value(decision.entry);
    if (!decision.line.isEmpty())
        m_parts.output.say(decision.line);
    switch (decision.verdict) {
    case Decision::Verdict::Send:
        break;
    case Decision::Verdict::NotNewer:
        endRow(result::failed, result::notOlder);
        skip(runWord::notNewer);
        return itemDone();
    case Decision::Verdict::NoMatch:
        skip(runWord::noMatch);
        return skipFailed();
    case Decision::Verdict::BadRow:
        m_parts.output.say(
            filled(row.size() == 1 ? text::badListItem : text::shortListItem, row.first()));
        skip(runWord::badRow);
        return itemDone();
    case Decision::Verdict::NoFirmware:
        m_parts.progress.show(wholeProgress);
        endRow(result::failed, result::failed);
        m_parts.output.say(filled(text::noFirmware, m_parts.rows.currentName()));
        skip(runWord::noFirmware);
        return itemDone();
    }
    m_parts.rows.setCurrent(field::upgradeFlag, QStringLiteral("1"));
    const bool isMain = m_parts.rows.currentNumber(field::chipType) == chip::mainMcu &&
                        m_parts.rows.currentNumber(field::chipIndex) == 0;
    return isMain ? Event::MainImageDue : Event::OtherImageDue;
}

std::optional<Event> UpgradeRun::sendImage()
{
    const RunRows &rows = m_parts.rows;
    const ImageChoice choice =
        chooseImage(rows.table(), rows.index(), m_mask, m_parts.package.source(),
                    {m_platform.limits.image, netImages()});
    if (m_parts.package.isFaulty())
        return Event::PackageUnusable;
    switch (choice.kind) {
    case ImageChoice::Kind::Write:
        return writeImage(*choice.record);
    case ImageChoice::Kind::Install:
        return installImage(*choice.record);
    case ImageChoice::Kind::BadChip:
        m_parts.output.say(filled(text::badChip));
        skip(runWord::badRow);
        break;
    case ImageChoice::Kind::TooLong:
        qCWarning(logEngine) << "an image is too long:" << choice.record->length << "bytes";
        [[fallthrough]];
    case ImageChoice::Kind::NoImage:
        m_parts.output.say(filled(text::noImage, rows.currentName()));
        skip(runWord::noImage);
        break;
    case ImageChoice::Kind::NotHandled:
        skip(runWord::notHandled);
        break;
    }
    return skipFailed();
}

std::optional<Event> UpgradeRun::writeImage(const ImageRecord &record)
{
    const RunRows &rows = m_parts.rows;
    const QByteArray image = m_parts.package.source().read(record.imageOffset, record.length);
    if (m_parts.package.isFaulty())
        return Event::PackageUnusable;
    m_parts.report.write(rows.currentMcu(m_entry), image.size());
    m_parts.write(quint8(rows.currentNumber(field::chipType)),
                  quint8(rows.currentNumber(field::chipIndex)), image);
    return {};
}

Event UpgradeRun::installImage(const ImageRecord &record)
{
    m_parts.report.write(m_parts.rows.currentMcu(m_entry), int(record.length));
    PartSource image(m_parts.package.source(), record.imageOffset, record.length);
    const bool installed = m_parts.install(image);
    if (m_parts.package.isFaulty())
        return Event::PackageUnusable;
    if (!installed)
        return skipFailed();
    m_imageWritten = true;
    endRow(result::success, result::success);
    return itemDone();
}

void UpgradeRun::reportPackageFault()
{
    const RunPackage::Fault fault = m_parts.package.fault();
    if (fault == RunPackage::Fault::None)
        return;
    const bool changed = fault == RunPackage::Fault::Changed;
    if (!changed)
        warnOfReadError(m_parts.package.error());
    const QString words = filled(changed ? text::packageChanged : text::packageNotRead);
    m_parts.output.say(words);
    m_parts.report.giveUp({}, words);
    m_parts.report.written(false);
}

Event UpgradeRun::takeImageResult(bool written)
{
    RunRows &rows = m_parts.rows;
    const QString name = rows.currentName();
    if (!written)
        m_parts.progress.show(wholeProgress);
    const char *const value = written ? result::success : result::failed;
    if (rows.hasCurrent())
        endRow(value, value);
    m_imageWritten |= written;
    m_parts.output.say(filled(written ? text::writeSuccess : text::writeFail, name));
    if (!written)
        m_parts.report.giveUp(name, filled(text::writeFail, name));
    m_parts.report.written(written);
    if (written && rows.index() == rows.count() - 1)
        m_parts.output.say(filled(text::allWritten));
    return written ? Event::ImageWritten : itemDone();
}

void UpgradeRun::pauseAfterImage() const
{
    QThread::msleep(static_cast<unsigned long>(m_platform.pauses.afterImage.count()));
}

void UpgradeRun::beginMainFirst()
{
    m_mainIsFirst = true;
    m_mainFirstRow = m_parts.rows.index();
}

Event UpgradeRun::itemDone()
{
    return std::exchange(m_mainIsFirst, false) ? Event::MainFirstDone : Event::ItemDone;
}

void UpgradeRun::skip(const char *why)
{
    m_parts.report.skip(m_parts.rows.currentMcu(m_entry), QString::fromLatin1(why));
}

/** Marks the item as failed; the run continues with the next one. */
Event UpgradeRun::skipFailed()
{
    endRow(result::failed, result::failed);
    return itemDone();
}

void UpgradeRun::endRow(const char *stored, const char *reported)
{
    m_parts.rows.setCurrent(field::result, QString::fromLatin1(stored));
    m_parts.output.inChain({QString::fromLatin1(protocol::key::upgradeResult),
                            m_parts.rows.current(), QString::fromLatin1(reported)});
}

} // namespace engine
