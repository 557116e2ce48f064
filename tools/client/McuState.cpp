// SPDX-License-Identifier: Apache-2.0
#include "client/McuState.h"

#include "protocol/BlockPayload.h"
#include "protocol/Progress.h"

#include <QStringList>

#include <cmath>
#include <vector>

namespace block = protocol::block;
using protocol::wholeProgress;

namespace client {

namespace {

using std::chrono::duration;
using std::chrono::milliseconds;

/** Three numbers; a missing one is 0. */
std::vector<int> numbersOf(const QString &version)
{
    std::vector<int> numbers;
    const QStringList parts = version.split(QLatin1Char('.'));
    for (int i = 0; i < 3; ++i)
        numbers.push_back(parts.value(i).toInt());
    return numbers;
}

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

int McuState::totalBlocks() const
{
    if (imageSize >= 0)
        return int((imageSize + block::dataSize - 1) / block::dataSize);
    // Every block has the same share of the percentage.
    constexpr double leastSure = 1.0;
    return percent >= leastSure ? int(std::lround(blocks * wholeProgress / percent)) : -1;
}

bool McuState::willBeWritten() const
{
    if (phase == McuPhase::Finished)
        return false;
    if (isChosen || isForced || oldVersion.isEmpty() || newVersion.isEmpty())
        return true;
    return numbersOf(oldVersion) < numbersOf(newVersion);
}

bool McuState::isInProgress() const
{
    const bool isAwaited = isChosen && cause == ProblemId::None;
    return phase != McuPhase::Finished && (started.count() >= 0 || isAwaited);
}

double McuState::seconds(ms now) const
{
    if (started.count() < 0)
        return -1.0;
    return secondsOf((ended.count() < 0 ? now : ended) - started);
}

} // namespace client
