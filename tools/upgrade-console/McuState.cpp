// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/McuState.h"

#include "protocol/BlockPayload.h"

#include <algorithm>

namespace {

using std::chrono::duration;
using std::chrono::milliseconds;

constexpr double whole = 100.0;

double secondsOf(milliseconds time)
{
    return duration<double>(time).count();
}

} // namespace

double McuState::rate(ms now) const
{
    const double elapsed = secondsOf((ended.count() < 0 ? now : ended) - writingSince);
    if (writingSince.count() < 0 || elapsed <= 0.0)
        return 0.0;
    return blocks * double(block::dataSize) / elapsed;
}

std::chrono::seconds McuState::timeLeft(ms now) const
{
    if (phase != McuPhase::Writing || percent <= 0.0 || now <= writingSince)
        return std::chrono::seconds(-1);
    const double left = secondsOf(now - writingSince) * (whole - percent) / percent;
    constexpr double longest = 99.0 * 3600.0;
    return std::chrono::seconds(qint64(std::min(left, longest)));
}

bool McuState::isAtWork() const
{
    const bool isAwaited = isChosen && cause == Cause::None;
    return phase != McuPhase::Finished && (started.count() >= 0 || isAwaited);
}

double McuState::seconds(ms now) const
{
    if (started.count() < 0)
        return -1.0;
    return secondsOf((ended.count() < 0 ? now : ended) - started);
}
