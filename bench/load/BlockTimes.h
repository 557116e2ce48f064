// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "load/Percentiles.h"

#include <vector>

/** Records the times of image transfers that a responder measures. */
class BlockTimes
{
public:
    /** The first `warmUp` blocks do not count, since caches are cold. */
    explicit BlockTimes(int warmUp) : m_warmUp(warmUp) {}

    void blockArrived(Nanoseconds firstByte, Nanoseconds lastByte);
    void acknowledged(Nanoseconds time, Nanoseconds wireTime);
    /** A command other than a block was answered. */
    void otherExchange() { m_lastAcknowledged = Nanoseconds(0); }

    int blocks() const { return m_blocks; }
    bool warmedUp() const { return m_blocks >= m_warmUp; }
    /** The number of blocks that count. */
    int counted() const { return m_counted; }
    /** From the acknowledgement's last byte to the next block's last byte. */
    const std::vector<Nanoseconds> &turnarounds() const { return m_turnarounds; }
    /** From each image's first byte to its last acknowledgement, and the time on the wire for
     *  it. */
    Nanoseconds actualTime() const { return m_actualTime; }
    Nanoseconds wireTime() const { return m_wireTime; }

private:
    int m_warmUp;
    int m_blocks = 0;
    int m_counted = 0;
    Nanoseconds m_blockStarted{0};
    Nanoseconds m_lastAcknowledged{0};
    Nanoseconds m_actualTime{0};
    Nanoseconds m_wireTime{0};
    std::vector<Nanoseconds> m_turnarounds;
};
