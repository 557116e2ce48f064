// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "package/ImageRecord.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "platform/Log.h"

namespace {

constexpr double wholeProgress = 100.0;
/** Versions below are none that was ever built; those up to the next can be listed only. */
constexpr int oldestKnownVersion = 2;
constexpr int oldestUpgradableVersion = 6;

} // namespace

int ControlCenter::checkFWMmd5(const QString &fileName)
{
    const QString path = packagePath(fileName);
    FileSource file(path);
    const PackageCheck check = checkListed(file, path);
    reportUnopened(check);
    return int(check);
}

QString ControlCenter::getMergeFWJSON(QString fileName)
{
    qCDebug(logEngine) << "getlistfileName:" << fileName;
    const bool quiet = m_claim.isHeld();
    const QString path = packagePath(fileName);
    FileSource file(path);
    const PackageCheck check = checkListed(file, path);
    if (!quiet)
        reportUnopened(check);
    return loadPackage(file, check, quiet ? Use::TextOnly : Use::List);
}

/** Opens the file and checks it, unless it is unchanged since its last check. */
PackageCheck ControlCenter::checkListed(FileSource &file, const QString &path)
{
    const PackageCheck opened = openPackage(file, path);
    if (opened != PackageCheck::NotChecked)
        return opened;
    const PackageChecksum checksum = m_packageChecks.check(file.stamp(), file);
    if (checksum.readError != 0)
        warnOfReadError(checksum.readError);
    return packageVerdict(checksum);
}

void ControlCenter::reportUnopened(PackageCheck check)
{
    if (check == PackageCheck::Missing || check == PackageCheck::Unreadable)
        reportFailure(QString::fromLatin1(appStatus::packageFailed), wholeProgress);
}

QString ControlCenter::loadPackage(FileSource &file, PackageCheck check, Use use)
{
    const auto fail = [&](const char *text) {
        if (use == Use::List)
            emit message({QString::fromLatin1(key::appStatus),
                          QString::fromLatin1(appStatus::packageFailed)});
        return filled(text);
    };
    if (use != Use::TextOnly)
        keepPackage({});
    if (check == PackageCheck::Missing)
        return fail(text::errorMissing);
    if (check == PackageCheck::Unreadable)
        return fail(text::errorOpen);
    // A package without a checksum cannot have a right one; it is known by its first bytes.
    if (check == PackageCheck::Wrong && !isBareForm(file.read(0, package::magicSize))) {
        qCDebug(logEngine) << "checkFWMmd5 error!!";
        return fail(text::errorChecksum);
    }
    if (check == PackageCheck::Right) {
        qCDebug(logEngine) << "checkFWMmd5 OK!!";
        sayToList(use, filled(text::checksumOk));
    }
    return loadHead(file, use);
}

QString ControlCenter::loadHead(ByteSource &source, Use use)
{
    const PackageHeader header = readPackageHeader(source);
    if (header.error == PackageHeader::Error::NotAPackage) {
        sayToList(use, filled(text::notAPackage));
        return filled(text::errorNotAPackage);
    }
    if (header.error == PackageHeader::Error::BadHead) {
        sayToList(use, filled(text::badHead));
        return {};
    }
    qCDebug(logEngine) << "jsonLength:" << header.jsonLength;
    sayToList(use, filled(text::packageVersion, QString::number(header.version)));
    return loadDescription(parseDescription(readDescription(source, header)), use);
}

QString ControlCenter::loadDescription(const PackageDescription &description, Use use)
{
    using Error = PackageDescription::Error;
    if (description.error == Error::NotJson || description.error == Error::NotAnObject) {
        qCDebug(logEngine) << "===> please check the string " << description.parseError;
        sayToList(use, filled(text::badDescription));
        return {};
    }
    qCDebug(logEngine) << "Document is an object";
    const QString json = QString::fromLocal8Bit(description.json);
    if (use != Use::TextOnly)
        keepPackage({description.firmwareList, description.model, description.version, json});
    sayToList(use, filled(text::modelName, description.model));
    sayToList(use, filled(text::release, description.version));
    if (description.error == Error::ChipsNotAnArray) {
        sayToList(use, filled(text::badChips));
        return {};
    }
    return json;
}

void ControlCenter::sayToList(Use use, const QString &line)
{
    if (use == Use::List)
        say(line);
}

void ControlCenter::keepPackage(const Package &package)
{
    const std::lock_guard lock(m_mutex);
    m_package = package;
}

QStringList ControlCenter::getFWInfoByChipType(int chipType) const
{
    const QStringList firmwareList = package().firmwareList;
    for (const QString &entry : firmwareList) {
        const QStringList fields = entry.split(QLatin1Char(','));
        if (fields.value(field::chipType) == QString::number(chipType))
            return fields;
    }
    return {};
}

/** Whether a run may go on after its package's check; ends it otherwise. */
bool ControlCenter::packageStartsRun(PackageCheck check)
{
    if (packageStopsRun())
        return false;
    const bool usable = !checksumStopsRun(check) && packageIsUpgradable();
    if (packageStopsRun())
        return false;
    if (!usable) {
        failRun(QString::fromLatin1(appStatus::packageFailed), wholeProgress);
        return false;
    }
    // The plan needs this package's list and model, whatever was listed before.
    keepPackage({});
    loadHead(m_runPackage.source(), Use::Plan);
    return !packageStopsRun();
}

/** Ends the run when its package was found changed or unreadable; true when it did. */
bool ControlCenter::packageStopsRun()
{
    const RunPackage::Fault fault = m_runPackage.fault();
    if (fault == RunPackage::Fault::None)
        return false;
    const bool changed = fault == RunPackage::Fault::Changed;
    if (!changed)
        warnOfReadError(m_runPackage.error());
    const QString words = filled(changed ? text::packageChanged : text::packageNotRead);
    say(words);
    m_report.giveUp({}, words);
    m_report.written(false);
    failRun(QString::fromLatin1(appStatus::packageFailed), wholeProgress);
    return true;
}

/** The current row's image in the run's package. One of no bytes is none. */
std::optional<ImageRecord> ControlCenter::findImage()
{
    const auto record =
        findImageRecord(m_runPackage.source(), m_mask, currentNumber(field::chipType),
                        currentNumber(field::mcuType), currentNumber(field::pcbVersion),
                        currentNumber(field::speciality));
    if (!record || record->length == 0)
        return std::nullopt;
    if (record->length > m_platform.limits.image) {
        qCWarning(logEngine) << "an image is too long:" << record->length << "bytes";
        return std::nullopt;
    }
    return record;
}

bool ControlCenter::packageIsUpgradable()
{
    const QByteArray head = m_runPackage.source().read(0, package::headSize);
    if (m_runPackage.fault() != RunPackage::Fault::None)
        return false;
    const std::optional<int> version = currentFormVersion(head);
    if (!version)
        return refusePackage(text::notAPackage);
    if (*version < oldestKnownVersion)
        return refusePackage(text::badVersion);
    if (*version < oldestUpgradableVersion)
        return refusePackage(text::oldVersion);
    return true;
}

bool ControlCenter::refusePackage(const char *text)
{
    say(filled(text));
    m_report.giveUp({}, filled(text));
    return false;
}

bool ControlCenter::checksumStopsRun(PackageCheck check)
{
    switch (check) {
    case PackageCheck::NotChecked:
        return true;
    case PackageCheck::Right:
        qCDebug(logEngine) << "checkFWMmd5 OK!!";
        say(filled(text::checksumOk));
        return false;
    case PackageCheck::Wrong:
        qCDebug(logEngine) << "checkFWMmd5 error!!";
        m_report.giveUp({}, filled(text::errorChecksum));
        return true;
    case PackageCheck::Missing:
        m_report.giveUp({}, filled(text::errorMissing));
        return true;
    case PackageCheck::Unreadable:
        m_report.giveUp({}, filled(text::errorOpen));
        return true;
    }
    return true;
}
