// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentReply.h"
#include "client/Messages.h"

#include <QString>

#include <chrono>
#include <optional>

namespace client {

/** A late answer of the device. */
struct AnswerWait
{
    using seconds = std::chrono::seconds;

    seconds waited{0};
    /** The time-out after which the agent tries again; 0 when it is not known. */
    seconds limit{0};
    /** From 1 on; 0 if there are no retries. */
    int attempt = 0;
    int attempts = 0;
    /** Until the agent gives up if no answer arrives. */
    seconds givesUp{0};
};

/** "waiting for an answer, 12 s of 30, try 4 of 9, gives up in 2:48" */
QString waitText(const AnswerWait &wait);

/**
 * Derives from the agent's lines which answer of the device the agent waits for, and from the
 * limits of the device's protocol how long it will wait. Uses no clock; see UpgradeModel.
 */
class AnswerWatch
{
public:
    using ms = std::chrono::milliseconds;

    /** Every reply of the run, with the time of its arrival. */
    void take(const AgentReply &reply, ms now);
    /** Empty during the first seconds of a wait, and when the agent does not wait. */
    std::optional<AnswerWait> at(ms now) const;

    /** The silence after which a heartbeat is due. After an image the agent pauses for a second: a
     *  heartbeat within it would look as if lines had been lost. */
    ms heartbeatAfter() const;

private:
    enum class Awaited { Nothing, Command, UpdateMode, Block, Restart };

    void takeLine(const QString &line, ms now);
    void takeRetry(const LineMeaning &meaning, int retry, ms now);
    /** After the line of a request; the agent sends this line again with each repetition. */
    void awaitAfter(const QString &line, Awaited awaited, ms now);
    void await(Awaited awaited, ms now);
    ms limit(ms waited) const;
    ms untilGivenUp() const;

    Awaited m_awaited = Awaited::Nothing;
    ms m_since{0};
    ms m_lastReply{0};
    /** The line of the last request. */
    QString m_request;
    /** Repetitions of the command or block so far. */
    int m_retry = 0;
    /** Repetitions of the whole image so far. */
    int m_imageRetry = 0;
    bool m_hasWritten = false;
    bool m_isFirstBlock = false;
    /** The agent pauses after an image. */
    bool m_isPausing = false;
};

} // namespace client
