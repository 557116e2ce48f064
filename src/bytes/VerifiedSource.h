// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "bytes/ChunkSums.h"

namespace bytes {

/**
 * A source that returns only bytes that match checksums taken earlier. Each read loads the chunks
 * that it touches as a whole and compares them. After the first chunk that differs or cannot be
 * read, every read fails. Only one thread at a time may read.
 */
class VerifiedSource : public ByteSource
{
public:
    /** Why reads fail. */
    enum class Fault {
        None,
        /** The bytes differ, or there are fewer. */
        Changed,
        /** The bytes cannot be read; error() says why. */
        ReadError,
    };

    /** `source` must outlive this one. */
    VerifiedSource(ByteSource &source, ChunkSums chunks);

    /** The size when the checksums were taken. */
    qint64 size() const override { return m_chunks.size(); }
    QByteArray read(qint64 offset, qint64 length) override;
    qint64 readInto(qint64 offset, char *buffer, qint64 length) override;

    Fault fault() const { return m_fault; }
    /** A value of errno; 0 when the system gave no reason. */
    int error() const { return m_error; }

private:
    bool load(qint64 offset, char *buffer, qint64 length);
    qint64 readPiece(qint64 offset, char *buffer, qint64 length);
    void fail(Fault fault, int error);

    ByteSource *m_source;
    ChunkSums m_chunks;
    /** For the parts of chunks that are not wanted. */
    QByteArray m_buffer;
    Fault m_fault = Fault::None;
    int m_error = 0;
};

} // namespace bytes
