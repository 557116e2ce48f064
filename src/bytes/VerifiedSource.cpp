// SPDX-License-Identifier: Apache-2.0
#include "bytes/VerifiedSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace bytes {

namespace {

/** In bytes. */
constexpr qint64 bufferSize = 65'536;

} // namespace

VerifiedSource::VerifiedSource(ByteSource &source, ChunkSums chunks)
    : m_source(&source), m_chunks(std::move(chunks))
{
}

QByteArray VerifiedSource::read(qint64 offset, qint64 length)
{
    // No memory is allocated beyond the end, whatever a length field claims.
    const qint64 there = std::min({length, size() - offset, qint64(1) << 30});
    if (offset < 0 || there <= 0 || m_fault != Fault::None)
        return {};
    QByteArray bytes(int(there), Qt::Uninitialized);
    bytes.resize(int(readInto(offset, bytes.data(), there)));
    return bytes;
}

qint64 VerifiedSource::readInto(qint64 offset, char *buffer, qint64 length)
{
    if (offset < 0 || offset >= size() || length <= 0)
        return 0;
    const qint64 wanted = std::min(length, size() - offset);
    qint64 done = 0;
    while (done < wanted && m_fault == Fault::None)
        done += readPiece(offset + done, buffer + done, wanted - done);
    return m_fault == Fault::None ? done : 0;
}

/** Reads the whole chunk and returns the part of it that is wanted, up to the end of the chunk.
 * What is wanted is read directly into the caller's memory where possible. */
qint64 VerifiedSource::readPiece(qint64 offset, char *buffer, qint64 length)
{
    const auto chunk = size_t(offset / m_chunks.chunkSize());
    const qint64 start = qint64(chunk) * m_chunks.chunkSize();
    const qint64 end = start + m_chunks.lengthOf(chunk);
    const qint64 wantedEnd = std::min(offset + length, end);
    ChunkCheck check = m_chunks.check(chunk);
    for (qint64 at = start; at < end;) {
        const qint64 next = std::min(at + bufferSize, end);
        const bool isWanted = at >= offset && next <= wantedEnd;
        if (!isWanted)
            m_buffer.resize(int(next - at));
        char *const target = isWanted ? buffer + (at - offset) : m_buffer.data();
        if (!load(at, target, next - at))
            return 0;
        check.add(target, next - at);
        const qint64 from = std::max(at, offset);
        const qint64 to = std::min(next, wantedEnd);
        if (!isWanted && from < to)
            std::memcpy(buffer + (from - offset), target + (from - at), size_t(to - from));
        at = next;
    }
    if (check.matches())
        return wantedEnd - offset;
    fail(Fault::Changed, 0);
    return 0;
}

bool VerifiedSource::load(qint64 offset, char *buffer, qint64 length)
{
    qint64 done = 0;
    while (done < length) {
        errno = 0;
        const qint64 count = m_source->readInto(offset + done, buffer + done, length - done);
        if (count <= 0) {
            // A file that ends earlier than before has changed; that is not a read error.
            const int error = errno;
            const bool shorter = error == 0 && m_source->size() < size();
            fail(shorter ? Fault::Changed : Fault::ReadError, error);
            return false;
        }
        done += count;
    }
    return true;
}

void VerifiedSource::fail(Fault fault, int error)
{
    m_fault = fault;
    m_error = error;
}

} // namespace bytes
