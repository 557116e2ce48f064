// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleRequest.h"
#include "console/FirmwareRows.h"
#include "console/LineFramer.h"
#include "edid/DumpText.h"
#include "support/Fuzz.h"

#include <algorithm>

using console::ConsoleRequest;
using console::firmwareRows;
using console::LineFramer;

namespace {

constexpr int limit = 4096;

void checkLine(const QString &line)
{
    require(!line.isEmpty() && line == line.trimmed());
    const ConsoleRequest request = ConsoleRequest::fromLine(line);
    require(!request.parts.isEmpty());
    const int mode = request.mode().value_or(2);
    require(mode == 2 || mode == 5);
    const QStringList rows = request.rows();
    for (const QString &row : rows)
        require(row.count(',') >= 2);
    const auto text = request.edidText();
    const auto bytes = text ? edid::bytesFromText(*text) : std::nullopt;
    require(!bytes || bytes->size() == 256);
    firmwareRows(line);
}

} // namespace

/** A client's byte stream, in reads whose lengths the stream itself gives. */
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    LineFramer framer(limit);
    size_t length = 0;
    for (size_t start = 0; start < size; start += length) {
        length = std::min<size_t>(1 + data[start], size - start);
        const char *const piece = reinterpret_cast<const char *>(data + start);
        framer.feed(QString::fromUtf8(piece, int(length)));
        for (; framer.next() != nullptr; framer.take())
            checkLine(*framer.next());
        require(framer.rest().size() <= limit && framer.size() == framer.rest().size());
    }
    return 0;
}
