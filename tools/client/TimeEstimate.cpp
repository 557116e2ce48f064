// SPDX-License-Identifier: Apache-2.0
#include "client/TimeEstimate.h"

#include "client/AgentTimes.h"
#include "client/TimeText.h"
#include "protocol/BlockPayload.h"
#include "protocol/ChipTypes.h"
#include "protocol/Progress.h"

#include <cmath>

namespace block = protocol::block;
namespace chip = protocol::chip;
using platform::Ports;
using protocol::wholeProgress;

namespace client {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

/** Of one block on the serial line: start bytes, length, address, command and checksum beside its
 *  payload, and the 13 bytes of its answer. */
constexpr int frameOverhead = 10;
constexpr int answerBytes = 13;
/** With start and stop bit. */
constexpr double bitsPerByte = 10.0;
/** A longer time between two blocks is a wait. */
constexpr milliseconds longestBlock = 1s;
/** Fewer are not enough to compute a speed. */
constexpr int fewestBlocks = 8;

milliseconds inMilliseconds(double seconds)
{
    return milliseconds(qint64(seconds * 1000.0));
}

} // namespace

QString leftText(const TimeLeft &left)
{
    const auto time = std::chrono::duration_cast<std::chrono::seconds>(left.time);
    const QString text = clockText(time) + QStringLiteral(" left");
    return left.isWhole ? text : QStringLiteral("at least ") + text;
}

void TimeEstimate::take(const AgentReply &reply, ms now)
{
    const bool isBlock = reply.kind == AgentReply::Kind::Progress && reply.percent > 0.0;
    if (isBlock && m_lastBlock.count() >= 0 && now - m_lastBlock <= longestBlock) {
        m_measured += now - m_lastBlock;
        ++m_measuredBlocks;
    }
    if (isBlock)
        m_lastBlock = now;
    if (reply.kind != AgentReply::Kind::Log)
        return;
    const LineEvent event = meaningOf(reply.text).event;
    if (event == LineEvent::MainRestarting || event == LineEvent::RebootBegun)
        m_restartSince = now;
    if (event == LineEvent::Written || event == LineEvent::BlockRetry)
        m_lastBlock = ms(-1);
}

double TimeEstimate::blockSeconds() const
{
    if (m_measuredBlocks >= fewestBlocks)
        return double(m_measured.count()) / 1000.0 / m_measuredBlocks;
    const double bytes = block::payloadSize + frameOverhead + answerBytes;
    return m_link == Link::Serial ? bytes * bitsPerByte / Ports().baudRate.toDouble() : -1.0;
}

double TimeEstimate::speed() const
{
    const double seconds = blockSeconds();
    return seconds > 0.0 ? block::dataSize / seconds : 0.0;
}

TimeLeft TimeEstimate::ofImage(const McuState &mcu) const
{
    const int blocks = mcu.totalBlocks();
    const double seconds = blockSeconds();
    if (blocks < 0 || seconds < 0.0 || mcu.chipType == chip::networkModule)
        return {ms(0), false};
    return {inMilliseconds(blocks * (wholeProgress - mcu.percent) / wholeProgress * seconds), true};
}

TimeLeft TimeEstimate::ofRow(const McuState &mcu, ms now) const
{
    if (mcu.phase == McuPhase::Restarting)
        return {restOfRestart(now), true};
    if (!mcu.willBeWritten())
        return {};
    TimeLeft left = ofImage(mcu);
    if (mcu.phase < McuPhase::Writing)
        left.time += pauses.beforeFirstBlock;
    const bool isMain = mcu.chipType == chip::mainMcu && mcu.chipIndex == 0;
    left.time += isMain ? timeOuts.otherCommand : pauses.afterImage;
    return left;
}

/** A restarting device is first polled after this time. */
TimeEstimate::ms TimeEstimate::restOfRestart(ms now) const
{
    return std::max(ms(0), m_restartSince + timeOuts.otherCommand - now);
}

TimeLeft TimeEstimate::ofRun(const UpgradeModel &model, ms now) const
{
    TimeLeft left;
    if (model.hasEnded() || model.phase() == RunPhase::SettingVersion)
        return left;
    if (model.phase() == RunPhase::Rebooting)
        return {model.hasRebooted() ? restOfRestart(now) : timeOuts.otherCommand, true};
    left.time = timeOuts.otherCommand; // the reboot
    left.isWhole = model.knowsRows();
    for (const McuState &mcu : model.mcus()) {
        const TimeLeft row = ofRow(mcu, now);
        left.time += row.time;
        left.isWhole = left.isWhole && row.isWhole;
    }
    return left;
}

} // namespace client
