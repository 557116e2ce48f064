// SPDX-License-Identifier: Apache-2.0
// What is wrong with the images themselves and with their names, although the package is whole.
#include "fwm/Findings.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "platform/Platform.h"
#include "protocol/BlockPayload.h"
#include "protocol/ChipTypes.h"
#include "protocol/ConsoleTexts.h"

#include <QHash>

namespace block = protocol::block;
namespace chip = protocol::chip;
namespace consoletext = protocol::consoletext;
namespace description = package::description;
using package::ImageEntry;

namespace {

using Severity = Finding::Severity;

constexpr ushort lastLatin1 = 0xff;

/** Why an image is not the bytes of a flash; empty when it may be. */
QString fileFormat(ImageContent content)
{
    switch (content) {
    case ImageContent::Elf:
        return QStringLiteral("an ELF file");
    case ImageContent::IntelHex:
        return QStringLiteral("an Intel HEX file");
    case ImageContent::SRecord:
        return QStringLiteral("an S-record file");
    case ImageContent::Firmware:
    case ImageContent::AllZeros:
    case ImageContent::AllOnes:
        break;
    }
    return {};
}

void checkImage(const ImageInfo &image, int index, QVector<Finding> &findings)
{
    const auto add = [&](Severity severity, const char *name, const QString &text) {
        findings.append(
            {severity, QString::fromLatin1(name), image.record.headerOffset, text, {}, index});
    };
    const qint64 longest = platform::Limits().image;
    // The network module's own image is an archive, which is not written block by block.
    if (image.record.length == 0 || image.record.key.chipType == chip::networkModule)
        return;
    if (image.record.length < block::dataSize)
        add(Severity::Error, "image-short",
            QStringLiteral("the image has %1; no chip takes fewer than %2 bytes as complete")
                .arg(bytesText(image.record.length))
                .arg(block::dataSize));
    if (image.record.length > longest)
        add(Severity::Error, "image-long",
            QStringLiteral("the image has %1 bytes; the agent takes %2 at most")
                .arg(image.record.length)
                .arg(longest));
    if (!fileFormat(image.content).isEmpty())
        add(Severity::Error, "image-not-binary",
            QStringLiteral("the image is %1, not the bytes for a flash")
                .arg(fileFormat(image.content)));
    const bool isOnes = image.content == ImageContent::AllOnes;
    if (isOnes || image.content == ImageContent::AllZeros)
        add(Severity::Warning, "image-blank",
            QStringLiteral("every byte of the image is %1")
                .arg(isOnes ? QStringLiteral("0xFF") : QStringLiteral("0x00")));
}

/** A name of a description, and the chip that it is for. */
struct Name
{
    QString text;
    QString place;
    int chipType;
};

/** Chips and images in the description's order; a row of a request has one of these names. */
QVector<Name> namesIn(const QVector<ImageEntry> &entries)
{
    QVector<Name> names;
    int lastChip = -1;
    for (const ImageEntry &entry : entries) {
        const int chipType = description::number(entry.chip, package::key::chipType);
        const QString key = QLatin1Char('.') + package::key::name;
        if (entry.chipIndex != lastChip)
            names.append({description::text(entry.chip, package::key::name),
                          QStringLiteral("chips[%1]").arg(entry.chipIndex) + key, chipType});
        lastChip = entry.chipIndex;
        names.append(
            {description::text(entry.pcb, package::key::name), placeText(entry) + key, chipType});
    }
    return names;
}

/** What keeps a row with this name from being sent, or from arriving as it is; usually empty. */
QString obstacle(const QString &name)
{
    for (const QLatin1String part :
         {QLatin1String(","), consoletext::separator, QLatin1String("\n"), QLatin1String("\r")}) {
        if (name.contains(part))
            return QString(part);
    }
    // The agent removes blanks, and searches the whole line for these words first.
    const QString packed = QString(name).remove(QLatin1Char(' '));
    for (const QLatin1String word :
         {consoletext::parseEdid, consoletext::heartbeat, consoletext::getFirmwareList}) {
        if (packed.contains(word))
            return QString(word);
    }
    for (const QChar character : name) {
        if (character.unicode() > lastLatin1)
            return {character};
    }
    return {};
}

} // namespace

QVector<Finding> imageFindings(const PackageContents &contents)
{
    QVector<Finding> findings;
    for (int index = 0; index < contents.images.size(); ++index)
        checkImage(contents.images.at(index), index, findings);
    return findings;
}

QVector<Finding> nameFindings(const PackageContents &contents)
{
    QVector<Finding> findings;
    const qint64 offset = contents.header.jsonOffset;
    if (contents.entries.isEmpty())
        findings.append({Severity::Warning, QStringLiteral("no-images"), offset,
                         QStringLiteral("the description has no image"), package::key::chips});
    QHash<QString, Name> first;
    const QVector<Name> names = namesIn(contents.entries);
    for (const Name &name : names) {
        const QString reason = obstacle(name.text);
        if (!reason.isEmpty())
            findings.append({Severity::Error, QStringLiteral("name-unsendable"), offset,
                             QStringLiteral("%1 is \"%2\"; a request cannot have \"%3\" in a name")
                                 .arg(name.place, name.text, reason),
                             name.place});
        const auto other = first.constFind(name.text);
        if (other == first.constEnd())
            first.insert(name.text, name);
        else if (other->chipType != name.chipType)
            findings.append({Severity::Warning, QStringLiteral("name-shared"), offset,
                             QStringLiteral("%1 is \"%2\", the name of another chip at %3")
                                 .arg(name.place, name.text, other->place),
                             name.place});
    }
    return findings;
}
