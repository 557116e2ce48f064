// SPDX-License-Identifier: Apache-2.0
#include "client/AnswerWatch.h"

#include "client/AgentTimes.h"
#include "client/TimeText.h"

#include <QRegularExpression>

namespace client {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds heartbeat = 1s;
/** The possible delay of the line after a pause. */
constexpr milliseconds pauseTolerance = 200ms;
/** Attempts of a command or block, and of a whole image. */
constexpr int tries = 3;
/** A device restarts during the first of these intervals, and is polled in the others. */
constexpr auto restart = 4 * timeOuts.otherCommand;
/** Shorter waits are not shown. */
constexpr milliseconds shortest = 3s;
/** The possible delay of the lines. */
constexpr milliseconds tolerance = 2s;

seconds whole(milliseconds time)
{
    return std::chrono::duration_cast<seconds>(time);
}

/** The number of ", retry 2." at the end of a line; 0 for other lines. */
int retryOf(const QString &line)
{
    static const QRegularExpression pattern(QStringLiteral(", retry ([0-9])\\.\\z"));
    return pattern.match(line).captured(1).toInt();
}

} // namespace

QString waitText(const AnswerWait &wait)
{
    if (wait.limit.count() == 0)
        return QStringLiteral("no message for %1 s").arg(wait.waited.count());
    QString text =
        QStringLiteral("waiting for %1, %2 s of %3")
            .arg(wait.attempt == 0 ? QStringLiteral("the restart") : QStringLiteral("an answer"))
            .arg(wait.waited.count())
            .arg(wait.limit.count());
    if (wait.attempt > 0)
        text += QStringLiteral(", try %1 of %2").arg(wait.attempt).arg(wait.attempts);
    return text + QStringLiteral(", gives up in ") + clockText(wait.givesUp);
}

void AnswerWatch::take(const AgentReply &reply, ms now)
{
    m_lastReply = now;
    m_isPausing = m_isPausing && reply.kind == AgentReply::Kind::Log;
    if (reply.kind == AgentReply::Kind::Log) {
        takeLine(reply.text, now);
    } else if (reply.kind == AgentReply::Kind::Progress) {
        const bool isImage = m_awaited == Awaited::UpdateMode || m_awaited == Awaited::Block;
        if (isImage && reply.percent > 0.0) {
            await(Awaited::Block, now);
            m_isFirstBlock = false;
        }
    } else if (reply.kind == AgentReply::Kind::UpgradeSuccess ||
               reply.kind == AgentReply::Kind::UpgradeFail) {
        await(Awaited::Nothing, now);
    }
}

void AnswerWatch::takeLine(const QString &line, ms now)
{
    const LineMeaning meaning = meaningOf(line);
    if (meaning.event != LineEvent::Note)
        m_isPausing = meaning.event == LineEvent::Written;
    if (const int retry = retryOf(line)) {
        takeRetry(meaning, retry, now);
        return;
    }
    switch (meaning.event) {
    case LineEvent::RunStarted:
    case LineEvent::ReadBegun:
    case LineEvent::Reading:
    case LineEvent::Rebooting:
    case LineEvent::SettingVersion:
        awaitAfter(line, Awaited::Command, now);
        break;
    case LineEvent::EnterSent:
        awaitAfter(line, Awaited::UpdateMode, now);
        break;
    case LineEvent::Entered:
        await(Awaited::Block, now);
        m_isFirstBlock = true;
        break;
    case LineEvent::MainRestarting:
    case LineEvent::RebootBegun:
        await(Awaited::Restart, now);
        break;
    case LineEvent::Erasing:
    case LineEvent::Writing:
    case LineEvent::Note:
    case LineEvent::Unknown:
        break;
    default:
        m_hasWritten = m_hasWritten || meaning.event == LineEvent::Written;
        m_imageRetry = 0;
        await(Awaited::Nothing, now);
    }
}

void AnswerWatch::takeRetry(const LineMeaning &meaning, int retry, ms now)
{
    if (meaning.event == LineEvent::WriteRetry && meaning.cause == ProblemId::ImageNotWritten) {
        m_imageRetry = retry;
        await(Awaited::Nothing, now);
    } else if (m_awaited != Awaited::Restart) {
        m_retry = retry;
        m_since = now;
    }
}

void AnswerWatch::awaitAfter(const QString &line, Awaited awaited, ms now)
{
    const int retry = line == m_request ? m_retry : 0;
    m_request = line;
    await(awaited, now);
    m_retry = retry;
}

void AnswerWatch::await(Awaited awaited, ms now)
{
    m_awaited = awaited;
    m_retry = 0;
    m_since = now;
}

AnswerWatch::ms AnswerWatch::limit(ms waited) const
{
    switch (m_awaited) {
    case Awaited::Command:
        return timeOuts.otherCommand;
    case Awaited::UpdateMode:
        return timeOuts.uploadCommand;
    case Awaited::Block:
        // A wait longer than the time-out of a block is the wait for the last block.
        return (m_isFirstBlock && m_hasWritten) || waited > timeOuts.block ? timeOuts.lastBlock
                                                                           : timeOuts.block;
    case Awaited::Restart:
        return restart;
    case Awaited::Nothing:
        break;
    }
    return ms(0);
}

/** What follows the present try when nothing answers: an image is begun again with the request for
 *  the update mode. */
AnswerWatch::ms AnswerWatch::untilGivenUp() const
{
    const int more = tries - 1 - m_retry;
    const int moreImages = tries - 1 - m_imageRetry;
    switch (m_awaited) {
    case Awaited::Command:
        return more * timeOuts.otherCommand;
    case Awaited::UpdateMode:
        return (more + moreImages * tries) * timeOuts.uploadCommand;
    case Awaited::Block:
        return more * timeOuts.block + moreImages * tries * timeOuts.uploadCommand;
    case Awaited::Restart:
    case Awaited::Nothing:
        break;
    }
    return ms(0);
}

AnswerWatch::ms AnswerWatch::heartbeatAfter() const
{
    return m_isPausing ? pauses.afterImage + pauseTolerance : heartbeat;
}

std::optional<AnswerWait> AnswerWatch::at(ms now) const
{
    const ms waited = now - m_since;
    const ms most = limit(waited);
    if (now - m_lastReply > std::max<ms>(restart, most) + tolerance)
        return AnswerWait{whole(now - m_lastReply), seconds(0), 0, 0, seconds(0)};
    // The device is first polled after the time of a restart.
    const ms ordinary =
        m_awaited == Awaited::Restart ? timeOuts.otherCommand + tolerance : shortest;
    if (m_awaited == Awaited::Nothing || waited < ordinary)
        return std::nullopt;
    AnswerWait wait;
    wait.waited = whole(std::min(waited, most));
    wait.limit = whole(most);
    wait.givesUp = whole(std::max(most - waited, ms(0)) + untilGivenUp());
    if (m_awaited == Awaited::Restart)
        return wait;
    const bool isImage = m_awaited != Awaited::Command;
    wait.attempts = isImage ? tries * tries : tries;
    wait.attempt = (isImage ? tries * m_imageRetry : 0) + m_retry + 1;
    return wait;
}

} // namespace client
