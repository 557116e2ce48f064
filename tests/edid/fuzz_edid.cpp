// SPDX-License-Identifier: Apache-2.0
#include "edid/DumpText.h"
#include "edid/ParseEDID.h"
#include "support/Fuzz.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

constexpr int dumpSize = 256;
// Far above what 256 bytes can ask for: 62 formats named by each of five maps, and some.
constexpr int maxLines = 1000;
constexpr int maxCharacters = 64 * 1024;

void report(const QByteArray &dump)
{
    // A block of exactly their size, so that a sanitizer sees every read beyond them.
    const std::vector<unsigned char> exact(dump.begin(), dump.end());
    const unsigned char *const bytes = exact.data();
    ParseEDID edid;
    int emitted = 0;
    int lines = 0;
    int characters = 0;
    edid.setLineSink([&](const QString &line) {
        ++lines;
        characters += line.size();
    });
    QObject::connect(&edid, &ParseEDID::signalEDID, [&](const QList<QString> &result) {
        ++emitted;
        require(result.size() == 3 || result.size() == 5);
        for (const QString &item : result)
            characters += item.size();
    });
    edid.parse(bytes);
    edid.report(bytes);
    require(emitted == 2 && lines <= maxLines && characters <= maxCharacters);
}

} // namespace

/** Any bytes as a dump, with and without a valid header, and as a console argument. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), int(size));
    const QByteArray dump = input.leftJustified(dumpSize, '\0', true);
    report(dump);
    report(QByteArray::fromHex("00ffffffffffff00") + dump.mid(8));

    const QString text = QString::fromLatin1(input);
    const auto bytes = edid::bytesFromText(text);
    require(!bytes || bytes->size() == dumpSize);
    return 0;
}
