// SPDX-License-Identifier: Apache-2.0
#include "bytes/Crc32.h"

#include <libdeflate.h>
#include <zlib.h>

namespace bytes {

void Crc32::add(const char *bytes, qint64 size)
{
    // Without bytes the pointer may be null, which makes the library return its initial value.
    if (size > 0)
        m_value = libdeflate_crc32(m_value, bytes, size_t(size));
}

void Crc32::add(const QByteArray &bytes)
{
    add(bytes.constData(), bytes.size());
}

void Crc32::append(const Crc32 &next, qint64 size)
{
    m_value = quint32(crc32_combine(m_value, next.m_value, z_off_t(size)));
}

Crc32 Crc32::withoutFront(const Crc32 &front, qint64 size) const
{
    // Combining is an exclusive or with the front shifted by `size` bytes, so it is its own
    // inverse.
    Crc32 rest;
    rest.m_value = quint32(crc32_combine(front.m_value, m_value, z_off_t(size)));
    return rest;
}

QByteArray Crc32::text() const
{
    return QByteArray::number(m_value, 16);
}

} // namespace bytes
