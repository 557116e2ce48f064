// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "files/FileSource.h"
#include "package/ImageRecord.h"
#include "package/PackageChecksum.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "platform/Log.h"

namespace {

enum ChecksumResult { FileMissing = 1, FileUnreadable = 2, ChecksumRight = 3, ChecksumWrong = 4 };

constexpr double wholeProgress = 100.0;
/** Versions below are none that was ever built; those up to the next can be listed only. */
constexpr int oldestKnownVersion = 2;
constexpr int oldestUpgradableVersion = 6;

QString localPath(const QString &fileName)
{
    const QLatin1String scheme("file:///");
    return fileName.startsWith(scheme) ? fileName.mid(scheme.size()) : fileName;
}

/** Touches nothing but the file. */
ChecksumResult checksumOf(const QString &fileName)
{
    const QString path = localPath(fileName);
    if (!QFile::exists(path)) {
        qCDebug(logEngine) << "file not exist!!";
        return FileMissing;
    }
    FileSource source(path);
    if (!source.open()) {
        qCDebug(logEngine) << "Faild to open file";
        return FileUnreadable;
    }
    const PackageChecksum checksum = checkPackage(source);
    qCDebug(logEngine) << "fileHeadMD5:" << checksum.stored << "checkMD5:" << checksum.computed;
    return checksum.matches() ? ChecksumRight : ChecksumWrong;
}

} // namespace

int ControlCenter::checkFWMmd5(const QString &fileName)
{
    const ChecksumResult result = checksumOf(fileName);
    if (result == FileMissing || result == FileUnreadable)
        reportFailure(QString::fromLatin1(appStatus::packageFailed), wholeProgress);
    return result;
}

QString ControlCenter::getMergeFWJSON(QString fileName)
{
    qCDebug(logEngine) << "getlistfileName:" << fileName;
    const bool quiet = m_runActive;
    const int checksum = quiet ? checksumOf(fileName) : checkFWMmd5(fileName);
    return loadPackage(fileName, checksum, quiet ? Use::TextOnly : Use::List);
}

QString ControlCenter::loadPackage(const QString &fileName, int checksum, Use use)
{
    const auto fail = [&](const char *text) {
        if (use == Use::List)
            emit message({QString::fromLatin1(key::appStatus),
                          QString::fromLatin1(appStatus::packageFailed)});
        return filled(text);
    };
    if (use != Use::TextOnly)
        keepPackage({});
    const QString path = localPath(fileName);
    FileSource source(path);
    const bool opened = source.open();
    // A package without a checksum cannot have a right one; it tells itself by its first bytes.
    if (checksum == ChecksumWrong && !(opened && isBareForm(source.read(0, package::magicSize)))) {
        qCDebug(logEngine) << "checkFWMmd5 error!!";
        return fail(text::errorChecksum);
    }
    if (checksum == ChecksumRight) {
        qCDebug(logEngine) << "checkFWMmd5 OK!!";
        sayToList(use, filled(text::checksumOk));
    }
    if (!opened)
        return fail(QFile::exists(path) ? text::errorOpen : text::errorMissing);
    return loadHead(source, use);
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

/** Loads the image for the current row. An image of no bytes is no image. */
bool ControlCenter::findImage()
{
    m_image.clear();
    FileSource source(localPath(m_fileName));
    if (!source.open())
        return false;
    const auto record = findImageRecord(
        source, m_mask, currentNumber(field::chipType), currentNumber(field::mcuType),
        currentNumber(field::pcbVersion), currentNumber(field::speciality));
    if (!record || record->length == 0)
        return false;
    if (record->length > m_platform.limits.image) {
        qCWarning(logEngine) << "an image is too long:" << record->length << "bytes";
        return false;
    }
    m_image = source.read(record->imageOffset, record->length);
    return m_image.size() == record->length;
}

bool ControlCenter::packageIsUpgradable()
{
    FileSource source(localPath(m_fileName));
    if (!source.open())
        return false;
    const std::optional<int> version = currentFormVersion(source.read(0, package::headSize));
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

bool ControlCenter::checksumStopsRun(int result)
{
    if (result == ChecksumRight) {
        qCDebug(logEngine) << "checkFWMmd5 OK!!";
        say(filled(text::checksumOk));
    } else if (result == ChecksumWrong) {
        qCDebug(logEngine) << "checkFWMmd5 error!!";
        m_report.giveUp({}, filled(text::errorChecksum));
        return true;
    } else if (result == FileMissing || result == FileUnreadable) {
        m_report.giveUp({}, filled(result == FileMissing ? text::errorMissing : text::errorOpen));
    }
    return false;
}
