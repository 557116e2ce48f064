// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

/** Bytes in memory that can change, end before their size, fail, and arrive in small pieces. */
class TestSource : public bytes::ByteSource
{
public:
    explicit TestSource(const QByteArray &content) : bytes(content) {}

    qint64 size() const override { return bytes.size() + missing; }

    QByteArray read(qint64 offset, qint64 length) override
    {
        ++reads;
        longest = std::max(longest.load(), length);
        if (brokenFrom >= 0 && offset + length > brokenFrom) {
            errno = EIO;
            length = std::max<qint64>(brokenFrom - offset, 0);
        }
        return bytes.mid(int(offset), int(std::min(length, most)));
    }

    QByteArray bytes;
    /** How much longer it claims to be than it is. */
    qint64 missing = 0;
    /** The offset from which reads fail; -1 for none. */
    qint64 brokenFrom = -1;
    /** The most bytes that a read gives. */
    qint64 most = 1 << 30;
    /** Reads may come from two threads. */
    std::atomic<int> reads{0};
    std::atomic<qint64> longest{0};
};

/** Bytes without repetition. */
inline QByteArray pattern(int size)
{
    QByteArray bytes(size, '\0');
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = char(state >> 24);
    }
    return bytes;
}
