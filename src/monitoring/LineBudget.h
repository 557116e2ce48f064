// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace monitoring {

/**
 * A rate limit for the lines of one kind of event: `burst` at once, then one per `perLine`, so that
 * no client can fill the journal or hide the lines of others.
 */
class LineBudget
{
public:
    using ms = std::chrono::milliseconds;

    LineBudget(int burst, ms perLine);

    /** Whether a line may be written at this time of a monotonic clock. A suppressed line is
     *  counted. */
    bool take(ms now);
    int leftOut() const { return m_leftOut; }
    /** The number of suppressed lines was reported. */
    void forget() { m_leftOut = 0; }

private:
    ms m_perLine;
    ms m_most;
    ms m_credit;
    ms m_last{0};
    int m_leftOut = 0;
};

} // namespace monitoring
