// SPDX-License-Identifier: Apache-2.0
#include "bytes/VerifiedSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace bytes {

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

/** Reads to the end of the chunk at most; a whole chunk is read directly into the caller's
 *  memory. */
qint64 VerifiedSource::readPiece(qint64 offset, char *buffer, qint64 length)
{
    const qint64 chunk = offset / m_chunks.chunkSize();
    const qint64 inChunk = offset % m_chunks.chunkSize();
    const qint64 chunkLength = m_chunks.lengthOf(size_t(chunk));
    if (inChunk == 0 && length >= chunkLength)
        return load(chunk, buffer) ? chunkLength : 0;
    m_buffer.resize(int(chunkLength));
    if (!load(chunk, m_buffer.data()))
        return 0;
    const qint64 count = std::min(length, chunkLength - inChunk);
    std::memcpy(buffer, m_buffer.constData() + inChunk, size_t(count));
    return count;
}

bool VerifiedSource::load(qint64 chunk, char *buffer)
{
    const qint64 start = chunk * m_chunks.chunkSize();
    const qint64 length = m_chunks.lengthOf(size_t(chunk));
    qint64 done = 0;
    while (done < length) {
        errno = 0;
        const qint64 count = m_source->readInto(start + done, buffer + done, length - done);
        if (count <= 0) {
            // A file that ends earlier than before has changed; that is not a read error.
            const int error = errno;
            const bool shorter = error == 0 && m_source->size() < size();
            fail(shorter ? Fault::Changed : Fault::ReadError, error);
            return false;
        }
        done += count;
    }
    Crc32 sum;
    sum.add(buffer, length);
    if (sum.value() == m_chunks.at(size_t(chunk)).value())
        return true;
    fail(Fault::Changed, 0);
    return false;
}

void VerifiedSource::fail(Fault fault, int error)
{
    m_fault = fault;
    m_error = error;
}

} // namespace bytes
