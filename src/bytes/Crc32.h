// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

namespace bytes {

/** The CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320), computed piece by piece. */
class Crc32
{
public:
    void add(const char *bytes, qint64 size);
    void add(const QByteArray &bytes);

    /** Adds the `size` bytes that follow, whose CRC-32 is `next`. */
    void append(const Crc32 &next, qint64 size);

    /** The value of the last `size` bytes alone; `front` is the value of the bytes before them. */
    Crc32 withoutFront(const Crc32 &front, qint64 size) const;

    quint32 value() const { return m_value; }

    /** The value as packages store it: lowercase hexadecimal without leading zeros. */
    QByteArray text() const;

private:
    quint32 m_value = 0;
};

} // namespace bytes
