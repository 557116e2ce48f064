// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

#include <atomic>
#include <functional>
#include <limits>

/**
 * While an object exists, the program's calls of pread(2) are counted and may fail or return fewer
 * bytes. FaultyReads.cpp replaces the function of the C library, so it must be a source of the test
 * program itself. Set up everything before the first read.
 */
class FaultyReads
{
public:
    FaultyReads();
    ~FaultyReads();
    FaultyReads(const FaultyReads &) = delete;
    FaultyReads &operator=(const FaultyReads &) = delete;

    /** The maximum number of bytes of a read. */
    qint64 most = std::numeric_limits<qint64>::max();
    /** Every second read is interrupted by a signal. */
    bool interrupted = false;
    /** Reads of bytes from this offset on fail with EIO. */
    qint64 brokenFrom = std::numeric_limits<qint64>::max();
    /** The read of this number, from 1 on, fails with EIO; 0 for none. */
    int brokenRead = 0;
    /** Called before each read, with its number. */
    std::function<void(int number)> beforeRead;

    int reads() const { return m_reads; }
    /** The number of all read bytes. */
    qint64 bytes() const { return m_bytes; }

    /** The current behaviour of pread(2). */
    long perform(int file, void *buffer, unsigned long length, qint64 offset);

private:
    std::atomic<int> m_reads{0};
    std::atomic<qint64> m_bytes{0};
};
