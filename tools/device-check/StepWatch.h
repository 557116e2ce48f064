// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/AnswerReader.h"
#include "device-check/Step.h"

namespace devicecheck {

/** Records one attempt of a step and decides from the recorded bytes whether it passed. */
class StepWatch
{
public:
    explicit StepWatch(const Step &step);

    /** `time` is when the last of these bytes has left the host. */
    void sent(const QByteArray &bytes, milliseconds time);
    void received(const QByteArray &bytes, milliseconds time);

    /** Whether every answer that must come has come. */
    bool isAnswered() const;
    /** When the next answer is due, on the clock of the calls. */
    milliseconds deadline() const;

    /** What happened so far, with the verdict. */
    Exchange exchange() const;

private:
    struct Answer
    {
        QByteArray frame;
        milliseconds time{0};
        milliseconds gap{0};
    };

    /** The arrivals that are answers, and those that are not. */
    struct Sorted
    {
        QVector<Answer> answers;
        QVector<Arrival> others;
    };

    Sorted sorted() const;
    milliseconds limitOf(int answer) const;
    QString problem(const Sorted &sorted) const;
    QString problemOfAnswer(const Sorted &sorted, int answer) const;
    QString problemOfSilence(const QVector<Arrival> &others) const;

    Step m_step;
    AnswerReader m_reader;
    QVector<Traffic> m_traffic;
    int m_receivedBytes = 0;
    QByteArray m_lastSent;
    milliseconds m_sentEnd{0};
};

/** What is wrong with a frame as this answer; empty when nothing is. */
QString problemOfFrame(const QByteArray &frame, const Expected &expected);

/** "5a 5b a5". */
QString hexText(const QByteArray &bytes);
/** "0.25 s". */
QString secondsText(milliseconds time);

} // namespace devicecheck
