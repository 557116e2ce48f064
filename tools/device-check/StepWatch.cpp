// SPDX-License-Identifier: Apache-2.0
#include "device-check/StepWatch.h"

#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

#include <algorithm>

namespace mcu = protocol::mcu;
using protocol::Reply;

namespace devicecheck {

namespace {

/** How many bytes that are not a frame a text shows. */
constexpr int shownBytes = 16;
/** What a step keeps of a device that sends without end; its answers have 4 KiB at most. */
constexpr int mostBytes = 64 * 1024;

QString hexWord(quint16 word)
{
    return QStringLiteral("%1").arg(word, 4, 16, QLatin1Char('0')).toUpper();
}

QString hexByte(int byte)
{
    return QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
}

QString problemOfStatus(const Reply &reply, const Expected &expected)
{
    if (!reply.isExtended())
        return QStringLiteral("the answer has the ordinary form, must be the extended form");
    if (reply.length() != mcu::extendedLength)
        return QStringLiteral("the length is %1, must be %2")
            .arg(reply.length())
            .arg(mcu::extendedLength);
    const int status = reply.at(mcu::resultOffset);
    if (expected.kind == Expected::Kind::Refusal)
        return status != 0 ? QString()
                           : QStringLiteral("the command was accepted, must be refused");
    return status == expected.status
               ? QString()
               : QStringLiteral("the status is %1, must be %2").arg(status).arg(expected.status);
}

QString problemOfData(const Reply &reply, const Expected &expected)
{
    if (reply.isExtended())
        return QStringLiteral("the answer has the extended form with status %1, must be the "
                              "ordinary form")
            .arg(reply.at(mcu::resultOffset));
    const QByteArray data = reply.payload();
    if (data.size() < expected.leastData || data.size() > expected.mostData) {
        const QString must =
            expected.leastData == expected.mostData
                ? QString::number(expected.leastData)
                : QStringLiteral("%1 to %2").arg(expected.leastData).arg(expected.mostData);
        return QStringLiteral("the answer has %1 data bytes, must have %2")
            .arg(data.size())
            .arg(must);
    }
    return expected.problemOfData ? expected.problemOfData(data) : QString();
}

QString shown(const QByteArray &bytes)
{
    return hexText(bytes.left(shownBytes)) +
           (bytes.size() > shownBytes ? QStringLiteral(" ...") : QString());
}

/** What bytes are that came in place of an answer. */
QString describe(const Arrival &arrival, const QByteArray &host, quint16 word)
{
    const QByteArray &bytes = arrival.bytes;
    switch (arrival.kind) {
    case Arrival::Kind::Frame:
        return QStringLiteral("a frame with the command word %1, not %2")
            .arg(hexWord(Reply(bytes).word()), hexWord(word));
    case Arrival::Kind::WrongChecksum: {
        const int sum = mcu::byteSum(bytes.left(bytes.size() - 1));
        return QStringLiteral("a frame with the checksum %1, must be %2")
            .arg(hexByte(quint8(bytes.back())), hexByte((0x100 - sum) & 0xFF));
    }
    case Arrival::Kind::Stray:
        break;
    }
    if (!host.isEmpty() && bytes.startsWith(host))
        return QStringLiteral("the host's own bytes");
    if (bytes.size() > mcu::payloadOffset && quint8(bytes.at(0)) == mcu::replyStart &&
        mcu::wordAt(bytes, mcu::lengthOffset) + mcu::uncounted == bytes.size())
        return QStringLiteral("a frame with the address %1 %2, must be 5B A5")
            .arg(hexByte(quint8(bytes.at(1))), hexByte(quint8(bytes.at(2))));
    return QStringLiteral("%1 bytes that are not a frame: %2").arg(bytes.size()).arg(shown(bytes));
}

} // namespace

QString hexText(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' '));
}

QString secondsText(milliseconds time)
{
    return QStringLiteral("%1 s").arg(double(time.count()) / 1000.0);
}

QString problemOfFrame(const QByteArray &frame, const Expected &expected)
{
    const Reply reply(frame);
    constexpr int reservedOffset = mcu::lengthOffset + 2;
    if (mcu::wordAt(frame, reservedOffset) != 0)
        return QStringLiteral("the reserved bytes are %1, must be 00 00")
            .arg(hexText(frame.mid(reservedOffset, 2)));
    switch (expected.kind) {
    case Expected::Kind::Data:
        return problemOfData(reply, expected);
    case Expected::Kind::Status:
    case Expected::Kind::Refusal:
        return problemOfStatus(reply, expected);
    case Expected::Kind::Any:
        break;
    }
    return {};
}

StepWatch::StepWatch(const Step &step) : m_step(step) {}

void StepWatch::sent(const QByteArray &bytes, milliseconds time)
{
    m_traffic.append({true, time, bytes});
    m_lastSent += bytes;
    m_sentEnd = time;
}

void StepWatch::received(const QByteArray &bytes, milliseconds time)
{
    const QByteArray kept = bytes.left(mostBytes - m_receivedBytes);
    m_receivedBytes += kept.size();
    if (kept.isEmpty())
        return;
    m_traffic.append({false, time, kept});
    m_reader.read(kept, time);
}

StepWatch::Sorted StepWatch::sorted() const
{
    Sorted sorted;
    for (const Arrival &arrival : m_reader.arrivals()) {
        const int next = sorted.answers.size();
        const bool isAnswer = arrival.kind == Arrival::Kind::Frame &&
                              next < m_step.answers.size() &&
                              Reply(arrival.bytes).word() == m_step.answers.at(next).word;
        if (isAnswer)
            sorted.answers.append({arrival.bytes, arrival.end, arrival.gap});
        else
            sorted.others.append(arrival);
    }
    return sorted;
}

bool StepWatch::isAnswered() const
{
    return !m_step.answers.isEmpty() && sorted().answers.size() == m_step.answers.size();
}

milliseconds StepWatch::limitOf(int answer) const
{
    return answer == 0 ? m_step.limit : m_step.limitBetween;
}

milliseconds StepWatch::deadline() const
{
    const QVector<Answer> answers = sorted().answers;
    return answers.isEmpty() ? m_sentEnd + m_step.limit : answers.last().time + m_step.limitBetween;
}

QString StepWatch::problemOfSilence(const QVector<Arrival> &others) const
{
    QString what = QStringLiteral("no answer within %1").arg(secondsText(m_step.limit));
    // A damaged frame is more likely the answer than noise before it.
    const auto frame = std::find_if(others.begin(), others.end(), [](const Arrival &other) {
        return other.kind != Arrival::Kind::Stray;
    });
    if (!others.isEmpty())
        return what + QStringLiteral("; received: ") +
               describe(frame != others.end() ? *frame : others.first(), m_lastSent,
                        m_step.answers.first().word);
    const QByteArray part = m_reader.incomplete();
    if (part.isEmpty())
        return what;
    return what + QStringLiteral("; received: only the first %1 bytes of a frame: %2")
                      .arg(part.size())
                      .arg(shown(part));
}

QString StepWatch::problemOfAnswer(const Sorted &sorted, int answer) const
{
    const Answer &given = sorted.answers.at(answer);
    const milliseconds from = answer == 0 ? m_sentEnd : sorted.answers.at(answer - 1).time;
    if (given.time - from > limitOf(answer))
        return QStringLiteral("the answer came after %1, must be within %2")
            .arg(secondsText(given.time - from), secondsText(limitOf(answer)));
    return problemOfFrame(given.frame, m_step.answers.at(answer));
}

QString StepWatch::problem(const Sorted &sorted) const
{
    if (m_step.answers.isEmpty()) {
        for (const Arrival &other : sorted.others) {
            if (other.kind == Arrival::Kind::Frame)
                return QStringLiteral("there is an answer, must be none");
        }
        return {};
    }
    for (int i = 0; i < sorted.answers.size(); ++i) {
        const QString problem = problemOfAnswer(sorted, i);
        if (!problem.isEmpty())
            return problem;
    }
    const int missing = m_step.answers.size() - sorted.answers.size();
    if (missing == 0 || (sorted.answers.isEmpty() && m_step.maySayNothing))
        return {};
    if (sorted.answers.isEmpty())
        return problemOfSilence(sorted.others);
    return QStringLiteral("only %1 of %2 answers")
        .arg(sorted.answers.size())
        .arg(m_step.answers.size());
}

Exchange StepWatch::exchange() const
{
    const Sorted all = sorted();
    Exchange exchange;
    exchange.text = m_step.text;
    exchange.traffic = m_traffic;
    for (const Answer &answer : all.answers) {
        exchange.answers.append(answer.frame);
        exchange.gap = std::max(exchange.gap, answer.gap);
    }
    if (!all.answers.isEmpty())
        exchange.answerTime = all.answers.first().time - m_sentEnd;
    for (const Arrival &other : all.others) {
        if (other.kind == Arrival::Kind::Frame)
            exchange.extraFrames.append(other.bytes);
        else
            exchange.strayBytes += other.bytes;
    }
    exchange.strayBytes += m_reader.incomplete();
    exchange.problem = problem(all);
    return exchange;
}

} // namespace devicecheck
