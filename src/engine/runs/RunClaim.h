// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

#include <atomic>

namespace engine {

/**
 * The one answer to "is the agent busy with a run": held from the moment a run is asked for until
 * the console has delivered its end. Any thread may ask; the thread that accepts a request takes
 * the claim, and the thread that delivers the end gives it back.
 *
 * Each claim has a number of its own, so that the late end of an earlier run never gives back the
 * claim of the next one.
 */
class RunClaim
{
public:
    using Number = qint64;
    /** No claim has this number. */
    static constexpr Number none = 0;

    bool isHeld() const { return m_state > 0; }

    /** Takes the claim, also from an earlier holder, without a moment in which it is free. */
    Number take()
    {
        Number before = m_state;
        Number mine = none;
        do
            mine = qAbs(before) + 1;
        while (!m_state.compare_exchange_weak(before, mine));
        return mine;
    }

    /** Gives the claim back; nothing happens when it was given back before, or taken again. */
    void release(Number number)
    {
        if (number != none)
            m_state.compare_exchange_strong(number, -number);
    }

private:
    /** The last claim's number, negative when it has been given back. */
    std::atomic<Number> m_state{none};
};

} // namespace engine
