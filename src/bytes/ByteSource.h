// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

namespace bytes {

/**
 * Bytes that can be read at any offset: a file, an image inside a package, memory. Packages are
 * always read through this, piece by piece, because they may be far larger than the module's
 * memory.
 */
class ByteSource
{
public:
    ByteSource() = default;
    ByteSource(const ByteSource &) = default;
    ByteSource &operator=(const ByteSource &) = default;
    virtual ~ByteSource() = default;

    /** In bytes; a file may change its size afterwards. */
    virtual qint64 size() const = 0;

    /** The bytes from `offset` on; fewer than `length` at the end or on an error. */
    virtual QByteArray read(qint64 offset, qint64 length) = 0;

    /**
     * The same into the caller's memory, for loops that must not allocate. Returns the number of
     * bytes read, at most `length` and never negative. Several threads may read at the same time. A
     * read that fails sets errno; at the end of the bytes errno is 0 or what it was before.
     */
    virtual qint64 readInto(qint64 offset, char *buffer, qint64 length);
};

/** Bytes in memory. */
class BytesSource : public ByteSource
{
public:
    explicit BytesSource(QByteArray bytes);

    qint64 size() const override;
    QByteArray read(qint64 offset, qint64 length) override;

private:
    QByteArray m_bytes;
};

/** A part of another source, which must outlive it. Bytes outside of the part cannot be read. */
class PartSource : public ByteSource
{
public:
    PartSource(ByteSource &whole, qint64 offset, qint64 length);

    qint64 size() const override;
    QByteArray read(qint64 offset, qint64 length) override;
    qint64 readInto(qint64 offset, char *buffer, qint64 length) override;

private:
    ByteSource *m_whole;
    qint64 m_offset;
    qint64 m_length;
};

} // namespace bytes
