// SPDX-License-Identifier: Apache-2.0
#include "bytes/ByteSource.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace bytes {

namespace {

/** How many of `length` bytes from `offset` on lie within `size` bytes. */
qint64 inside(qint64 size, qint64 offset, qint64 length)
{
    if (offset < 0 || offset >= size || length <= 0)
        return 0;
    return std::min(length, size - offset);
}

} // namespace

qint64 ByteSource::readInto(qint64 offset, char *buffer, qint64 length)
{
    const QByteArray bytes = read(offset, length);
    const qint64 count = std::min<qint64>(bytes.size(), std::max<qint64>(length, 0));
    if (count > 0)
        std::memcpy(buffer, bytes.constData(), size_t(count));
    return count;
}

BytesSource::BytesSource(QByteArray bytes) : m_bytes(std::move(bytes)) {}

qint64 BytesSource::size() const
{
    return m_bytes.size();
}

QByteArray BytesSource::read(qint64 offset, qint64 length)
{
    const qint64 count = inside(m_bytes.size(), offset, length);
    return count > 0 ? m_bytes.mid(int(offset), int(count)) : QByteArray();
}

PartSource::PartSource(ByteSource &whole, qint64 offset, qint64 length)
    : m_whole(&whole), m_offset(offset), m_length(length)
{
}

qint64 PartSource::size() const
{
    return m_length;
}

QByteArray PartSource::read(qint64 offset, qint64 length)
{
    return m_whole->read(m_offset + offset, inside(m_length, offset, length));
}

qint64 PartSource::readInto(qint64 offset, char *buffer, qint64 length)
{
    return m_whole->readInto(m_offset + offset, buffer, inside(m_length, offset, length));
}

} // namespace bytes
