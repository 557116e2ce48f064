// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace monitoring {

/**
 * How many lines one kind of event may write: `burst` at once, and from then on one each `perLine`.
 * So no client can fill the journal, or drown the lines of others, by what it makes happen.
 */
class LineBudget
{
public:
    using ms = std::chrono::milliseconds;

    LineBudget(int burst, ms perLine);

    /** Whether a line may be written at this time, on a clock that never goes back. One that may
     *  not is counted. */
    bool take(ms now);
    int leftOut() const { return m_leftOut; }
    /** The lines left out up to now have been told. */
    void forget() { m_leftOut = 0; }

private:
    ms m_perLine;
    ms m_most;
    ms m_credit;
    ms m_last{0};
    int m_leftOut = 0;
};

} // namespace monitoring
