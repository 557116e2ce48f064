// SPDX-License-Identifier: Apache-2.0
#include "DumpReader.h"

#include "edid/EdidDecoder.h"

#include <algorithm>
#include <optional>

namespace {

constexpr int blockSize = int(edid::blockSize);
constexpr int dumpSize = int(edid::dumpSize);

// 256 blocks, the most that EDID allows, as text with space for every separator.
constexpr int maxContentSize = 256 * blockSize * 8;

bool isText(const QByteArray &content)
{
    return std::all_of(content.begin(), content.end(), [](char character) {
        return (character >= ' ' && character <= '~') || (character >= '\t' && character <= '\r');
    });
}

bool isHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

/** The bytes of one word, "ff", "0xFF", "F" or "00ffffff"; nothing for any other word. */
std::optional<QByteArray> bytesOfWord(QByteArray word)
{
    if (word.startsWith("0x") || word.startsWith("0X"))
        word.remove(0, 2);
    if (word.size() == 1)
        word.prepend('0');
    if (word.isEmpty() || word.size() % 2 != 0 ||
        !std::all_of(word.begin(), word.end(), isHexDigit))
        return std::nullopt;
    return QByteArray::fromHex(word);
}

DumpReading failure(const QString &error)
{
    DumpReading reading;
    reading.error = error;
    return reading;
}

bool hasHeader(const QByteArray &bytes)
{
    const auto *first = reinterpret_cast<const std::uint8_t *>(bytes.constData());
    return edid::decode({first, std::size_t(bytes.size())}).valid.header;
}

DumpReading readBytes(const QByteArray &bytes)
{
    if (bytes.size() < blockSize)
        return failure(QStringLiteral("%1 bytes are less than a block of %2")
                           .arg(bytes.size())
                           .arg(blockSize));
    if (!hasHeader(bytes))
        return failure(QStringLiteral("it does not begin with 00 FF FF FF FF FF FF 00"));
    if (bytes.size() > blockSize && bytes.size() < dumpSize)
        return failure(QStringLiteral("%1 bytes end inside its second block").arg(bytes.size()));

    DumpReading reading;
    reading.bytes = bytes.left(dumpSize);
    reading.bytes.append(QByteArray(dumpSize - reading.bytes.size(), '\0'));
    reading.extensionMissing = bytes.size() == blockSize && bytes.at(blockSize - 2) != 0;
    return reading;
}

DumpReading readText(QByteArray text)
{
    constexpr int shownOfAWord = 20;
    QByteArray bytes;
    const QList<QByteArray> words = text.replace(',', ' ').simplified().split(' ');
    for (const QByteArray &word : words) {
        const auto more = bytesOfWord(word);
        if (!more)
            return failure(QStringLiteral("\"%1\" is not a hexadecimal byte")
                               .arg(QString::fromLatin1(word.left(shownOfAWord))));
        bytes += *more;
    }
    return readBytes(bytes);
}

} // namespace

DumpReading readDump(const QByteArray &content)
{
    if (content.trimmed().isEmpty())
        return failure(QStringLiteral("it is empty"));
    return isText(content) ? readText(content) : readBytes(content);
}

DumpReading readDump(QIODevice &input)
{
    const QByteArray content = input.read(maxContentSize + 1);
    if (content.size() > maxContentSize)
        return failure(QStringLiteral("it is larger than any dump"));
    return readDump(content);
}
