// SPDX-License-Identifier: Apache-2.0
#include "fwm/PackageContents.h"

#include "bytes/Chunks.h"
#include "fwm/Bzip2.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "planning/RunRules.h"
#include "protocol/ChipTypes.h"

#include <QCryptographicHash>
#include <QHash>

namespace chip = protocol::chip;
namespace description = package::description;
namespace net = package::net;
using bytes::ByteSource;
using bytes::forEachChunk;
using bytes::PartSource;
using bytes::SumKind;
using package::checkNetImage;
using package::checkPackage;
using package::imageEntries;
using package::ImageEntry;
using package::ImageRecord;
using package::PackageDescription;
using package::PackageHeader;
using package::parseDescription;
using package::readDescription;
using package::readPackageHeader;
using package::RecordKey;
using package::RecordWalker;
using planning::packageForm;
using planning::PackageForm;

namespace {

constexpr qint64 hashChunk = 65'536;
/** A description has at most 65,535 bytes; so many entries never fit into one. */
constexpr int mostImages = 65'535;

/** Everything that takes a reading of the whole image. */
void readImage(ByteSource &image, ImageInfo &info)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    ImageContentDetector detector;
    forEachChunk(image, 0, hashChunk, [&](const char *bytes, qint64 size) {
        hash.addData(QByteArray::fromRawData(bytes, int(size)));
        detector.add(bytes, size);
        return true;
    });
    info.sha256 = hash.result().toHex();
    info.content = detector.content();
}

ImageInfo imageInfo(ByteSource &image, const ImageRecord &record)
{
    ImageInfo info;
    info.record = record;
    readImage(image, info);
    if (record.key.chipType == chip::networkModule) {
        info.net = checkNetImage(image);
        info.looksLikeBzip2 = image.read(net::archiveOffset, bzip2::magicSize) == bzip2::magic;
    }
    return info;
}

/** A file that begins like an image of the network module: a version and a NUL byte. */
std::optional<ImageInfo> netImageIn(ByteSource &source)
{
    const QByteArray head = source.read(net::versionOffset, net::md5Offset);
    if (head.size() != net::md5Offset || head.at(net::versionSize) != '\0' ||
        !isNetVersion(QString::fromLatin1(head.left(net::versionSize))))
        return std::nullopt;
    ImageRecord record;
    record.key.chipType = chip::networkModule;
    record.length = source.size();
    return imageInfo(source, record);
}

void walkImages(ByteSource &source, PackageContents &contents)
{
    RecordWalker walker(source, contents.header.recordsOffset());
    while (const std::optional<ImageRecord> record = walker.next()) {
        contents.hasTooManyImages = contents.images.size() == mostImages;
        if (contents.hasTooManyImages)
            break;
        PartSource image(source, record->imageOffset, record->length);
        contents.images.append(imageInfo(image, *record));
    }
    contents.end = walker.state();
    contents.endOffset = walker.position();
}

/** Gives every entry that has none yet the first free image whose name under `nameOf` is its own.
 */
template<typename NameOf>
void assign(PackageContents &contents, const NameOf &nameOf, bool isExact)
{
    QHash<QByteArray, QVector<int>> free;
    for (int image = contents.images.size() - 1; image >= 0; --image) {
        if (contents.images.at(image).entry < 0)
            free[nameOf(contents.images.at(image).record.key)].append(image);
    }
    for (int entry = 0; entry < contents.entries.size(); ++entry) {
        if (contents.imageOfEntry.at(entry) >= 0)
            continue;
        const auto found = free.find(nameOf(keyOfEntry(contents.entries.at(entry))));
        if (found == free.end() || found->isEmpty())
            continue;
        const int image = found->takeLast();
        contents.imageOfEntry[entry] = image;
        contents.images[image].entry = entry;
        contents.images[image].isExact = isExact;
    }
}

/** The same as headProblem() where a package must have a checksum. */
std::optional<Problem> checkedHeadProblem(const PackageContents &contents)
{
    const bool isHead = contents.header.error == PackageHeader::Error::None;
    if (isHead && contents.header.form == PackageHeader::Form::Bare)
        return Problem{ProblemId::NoChecksum, {}};
    return headProblem(contents);
}

} // namespace

PackageContents readHead(ByteSource &source, SumKind kind)
{
    PackageContents contents;
    contents.size = source.size();
    contents.header = readPackageHeader(source);
    contents.checksum = checkPackage(source, kind);
    if (contents.header.error != PackageHeader::Error::None)
        return contents;
    contents.description = parseDescription(readDescription(source, contents.header));
    contents.entries = imageEntries(contents.description.object);
    contents.imageOfEntry.fill(-1, contents.entries.size());
    return contents;
}

PackageContents readContents(ByteSource &source, SumKind kind)
{
    PackageContents contents = readHead(source, kind);
    if (contents.header.error == PackageHeader::Error::NotAPackage)
        contents.netImage = netImageIn(source);
    if (contents.header.error != PackageHeader::Error::None)
        return contents;
    walkImages(source, contents);
    assign(
        contents, [](const RecordKey &key) { return key.bytes(); }, true);
    assign(contents, identityOf, false);
    return contents;
}

RecordKey keyOfEntry(const ImageEntry &entry)
{
    using description::number;
    RecordKey record;
    record.chipType = quint8(chip::fromDescription(number(entry.chip, package::key::chipType)));
    record.chipQuantity = number(entry.chip, package::key::chipQuantity);
    record.mcuType = number(entry.mcu, package::key::mcuType);
    record.pcbVersion = number(entry.pcb, package::key::pcbVersion);
    record.speciality =
        description::character(description::text(entry.pcb, package::key::speciality));
    record.ver1 = number(entry.pcb, package::key::ver1);
    record.ver2 = number(entry.pcb, package::key::ver2);
    record.ver3 = number(entry.pcb, package::key::ver3);
    return record;
}

QByteArray identityOf(const RecordKey &key)
{
    RecordKey identity;
    identity.chipType = key.chipType;
    if (!chip::isFpga(key.chipType)) {
        identity.mcuType = key.mcuType;
        identity.pcbVersion = key.pcbVersion;
        identity.speciality = key.speciality;
    }
    return identity.bytes();
}

std::optional<Problem> headProblem(const PackageContents &contents)
{
    if (contents.header.error == PackageHeader::Error::NotAPackage)
        return Problem{ProblemId::NotAPackage, {}};
    if (contents.header.error == PackageHeader::Error::BadHead)
        return Problem{ProblemId::UnknownVersion, {}};
    const bool hasChecksum = contents.header.form == PackageHeader::Form::Current;
    if (hasChecksum && !contents.checksum.matches())
        return Problem{ProblemId::ChecksumWrong, {}};
    if (contents.description.error != PackageDescription::Error::None)
        return Problem{ProblemId::DescriptionUnreadable, contents.description.parseError};
    return std::nullopt;
}

std::optional<Problem> runProblem(const PackageContents &contents)
{
    if (std::optional<Problem> problem = checkedHeadProblem(contents))
        return problem;
    if (packageForm(contents.header.version) != PackageForm::Usable)
        return Problem{ProblemId::PackageTooOld, {}};
    return std::nullopt;
}

std::optional<Problem> packageProblem(const PackageContents &contents)
{
    if (std::optional<Problem> problem = checkedHeadProblem(contents))
        return problem;
    if (contents.hasTooManyImages)
        return Problem{ProblemId::TooManyRecords, {}};
    if (contents.end != RecordWalker::State::End)
        return Problem{ProblemId::RecordsDamaged, {}};
    return std::nullopt;
}
