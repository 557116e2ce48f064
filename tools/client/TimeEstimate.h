// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeModel.h"

#include <chrono>

namespace client {

/** How long something will take. */
struct TimeLeft
{
    std::chrono::milliseconds time{0};
    /** False: the size of an image is not known, and it takes longer than this. */
    bool isWhole = true;
};

/** "1:05 left", "at least 1:05 left" */
QString leftText(const TimeLeft &left);

/**
 * Computes times by the bytes that are still to be sent: from the images' sizes, the speed of the
 * line and the fixed pauses of a run. The speed is that of the serial line until blocks have been
 * seen; a wait for an answer does not count as speed. Knows no clock, as UpgradeModel.
 */
class TimeEstimate
{
public:
    using ms = std::chrono::milliseconds;
    /** How the images reach the device; over the network no speed is known beforehand. */
    enum class Link { Serial, Network };

    explicit TimeEstimate(Link link = Link::Serial) : m_link(link) {}

    /** Every reply of the run, with the time of its arrival. */
    void take(const AgentReply &reply, ms now);
    /** Until the end of one image. */
    TimeLeft ofImage(const McuState &mcu) const;
    /** Until the end of the run. */
    TimeLeft ofRun(const UpgradeModel &model, ms now) const;
    /** Bytes of images per second; 0 when not known. */
    double speed() const;

private:
    /** What one block takes; negative when not known. */
    double blockSeconds() const;
    TimeLeft ofRow(const McuState &mcu, ms now) const;
    ms restOfRestart(ms now) const;

    Link m_link;
    ms m_lastBlock{-1};
    ms m_restartSince{-1};
    ms m_measured{0};
    int m_measuredBlocks = 0;
};

} // namespace client
