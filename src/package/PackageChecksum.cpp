// SPDX-License-Identifier: Apache-2.0
#include "package/PackageChecksum.h"

#include "bytes/Chunks.h"
#include "package/PackageLayout.h"

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

using bytes::ByteSource;
using bytes::ChunkSums;
using bytes::Crc32;
using bytes::forEachChunk;
using bytes::PartSource;
using bytes::SumKind;

namespace package {

namespace {

QByteArray textUpToNul(const QByteArray &bytes)
{
    const int nul = bytes.indexOf('\0');
    return nul < 0 ? bytes : bytes.left(nul);
}

/** Below this size a second thread does not pay off. */
constexpr qint64 smallestShared = 4 * package::checkReadSize;
/** A digest takes longer than reading, so larger reads gain nothing. */
constexpr qint64 digestReadSize = 65'536;

/** The result of reading a part of a source. */
struct Stretch
{
    ChunkSums chunks;
    int readError = 0;
};

Stretch sumUp(ByteSource &source, qint64 offset, qint64 size, qint64 readSize, ChunkSums chunks)
{
    Stretch stretch{std::move(chunks)};
    PartSource part(source, offset, size);
    const auto add = [&stretch](const char *bytes, qint64 count) {
        stretch.chunks.add(bytes, count);
        return true;
    };
    errno = 0;
    if (forEachChunk(part, 0, readSize, add) < size)
        stretch.readError = errno;
    return stretch;
}

/** Two threads, each with half of the source and half a buffer: reading from the page cache takes
 *  as long as the checksum, so a second processor helps. */
Stretch sumUpHalves(ByteSource &source, qint64 size, qint64 chunkSize)
{
    const qint64 half = size / 2 / chunkSize * chunkSize;
    const qint64 readSize = package::checkReadSize / 2;
    Stretch second;
    std::thread helper(
        [&] { second = sumUp(source, half, size - half, readSize, ChunkSums(chunkSize)); });
    Stretch first = sumUp(source, 0, half, readSize, ChunkSums(chunkSize));
    helper.join();
    // A file that became shorter ends at the first short read.
    if (first.chunks.size() == half) {
        first.chunks.append(second.chunks);
        first.readError = second.readError;
    }
    return first;
}

Stretch sumUpAll(ByteSource &source, SumKind kind)
{
    const qint64 size = source.size();
    const qint64 chunkSize = ChunkSums::chunkSizeFor(size, kind);
    // A digest takes its bytes in order.
    if (size >= smallestShared && kind == SumKind::Crc32) {
        try {
            return sumUpHalves(source, size, chunkSize);
        } catch (const std::system_error &) {
            // A second thread could not be started.
        }
    }
    const qint64 readSize = kind == SumKind::Crc32 ? package::checkReadSize : digestReadSize;
    return sumUp(source, 0, size, readSize, ChunkSums(chunkSize, kind));
}

/** The CRC-32 of all bytes after the checksum's text, which is in the first chunk. */
Crc32 coveredSum(const ChunkSums &chunks, const QByteArray &first)
{
    Crc32 front;
    front.add(first);
    Crc32 sum = chunks.at(0).withoutFront(front, chunks.lengthOf(0) - package::checksumStart);
    for (size_t chunk = 1; chunk < chunks.count(); ++chunk)
        sum.append(chunks.at(chunk), chunks.lengthOf(chunk));
    return sum;
}

} // namespace

bool PackageChecksum::matches() const
{
    return !computed.isEmpty() && stored == computed;
}

PackageChecksum checkPackage(ByteSource &source, SumKind kind)
{
    PackageChecksum checksum;
    QByteArray first(package::checksumSize, Qt::Uninitialized);
    errno = 0;
    first.resize(int(source.readInto(0, first.data(), first.size())));
    if (first.size() < package::checksumSize)
        checksum.readError = errno;
    checksum.stored = textUpToNul(first);

    Stretch all = sumUpAll(source, kind);
    if (all.readError != 0)
        checksum.readError = all.readError;
    checksum.digest = all.chunks.digest();
    checksum.chunks = std::move(all.chunks);
    if (checksum.chunks.size() > package::checksumStart)
        checksum.computed = coveredSum(checksum.chunks, first).text();
    return checksum;
}

} // namespace package
