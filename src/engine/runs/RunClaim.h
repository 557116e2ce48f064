// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

#include <atomic>

namespace engine {

/**
 * Whether the agent is busy with a run: the claim is held from the request of a run until the
 * console has delivered its end. Any thread may ask; the thread that accepts a request takes the
 * claim, and the thread that delivers the end releases it.
 *
 * Each claim has its own number, so that the late end of an earlier run never releases the claim of
 * the next one.
 */
class RunClaim
{
public:
    using Number = qint64;
    /** No claim has this number. */
    static constexpr Number none = 0;

    bool isHeld() const { return m_state > 0; }

    /** Takes the claim, also from an earlier holder, in one atomic operation. */
    Number take()
    {
        Number before = m_state;
        Number mine = none;
        do
            mine = qAbs(before) + 1;
        while (!m_state.compare_exchange_weak(before, mine));
        return mine;
    }

    /** Releases the claim; does nothing when it was released before, or taken again. */
    void release(Number number)
    {
        if (number != none)
            m_state.compare_exchange_strong(number, -number);
    }

private:
    /** The last claim's number, negative when it was released. */
    std::atomic<Number> m_state{none};
};

} // namespace engine
