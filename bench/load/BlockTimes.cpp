// SPDX-License-Identifier: Apache-2.0
#include "load/BlockTimes.h"

void BlockTimes::blockArrived(Nanoseconds firstByte, Nanoseconds lastByte)
{
    ++m_blocks;
    const bool follows = m_lastAcknowledged.count() != 0;
    if (follows && warmedUp())
        m_turnarounds.push_back(lastByte - m_lastAcknowledged);
    // The sender's time between two blocks of one image counts, too.
    m_blockStarted = follows ? m_lastAcknowledged : firstByte;
}

void BlockTimes::acknowledged(Nanoseconds time, Nanoseconds wireTime)
{
    m_lastAcknowledged = time;
    if (!warmedUp())
        return;
    ++m_counted;
    m_actualTime += time - m_blockStarted;
    m_wireTime += wireTime;
}
