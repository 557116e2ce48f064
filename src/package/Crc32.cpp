// SPDX-License-Identifier: Apache-2.0
#include "package/Crc32.h"

#include <libdeflate.h>

void Crc32::add(const char *bytes, qint64 size)
{
    // Without bytes the library may be handed a null pointer, which means "start afresh" to it.
    if (size > 0)
        m_value = libdeflate_crc32(m_value, bytes, size_t(size));
}

void Crc32::add(const QByteArray &bytes)
{
    add(bytes.constData(), bytes.size());
}

QByteArray Crc32::text() const
{
    return QByteArray::number(m_value, 16);
}
