// SPDX-License-Identifier: Apache-2.0
#include "device-check/Commands.h"
#include "device-check/PointSteps.h"
#include "device-check/StepWatch.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

#include <algorithm>

namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace devicecheck {

namespace {

constexpr quint16 unknownCommand = 0xF9FE;
constexpr int commandsBackToBack = 20;

/** No byte of it is a start byte. */
const QByteArray noise = QByteArray::fromHex("00ff13a5c30d0a7f80fe0142e73c99d1");
/** The beginning of a frame of 271 bytes, as long as that of a block. */
const QByteArray halfFrame = QByteArray::fromHex("5a5ba50a01000002f9");
/** A header with a length that no frame has. */
const QByteArray wrongLength = QByteArray::fromHex("5a5ba5ffff");

/** Bytes, the time in which a device drops them, and a command that it answers. */
Steps recovery(const QString &text, const QByteArray &bytes, milliseconds pause)
{
    Step step = readModelName();
    step.text = QStringLiteral("%1, then %2").arg(text, step.text);
    step.pieces = {{bytes}, {step.pieces.first().bytes, pause}};
    return {step};
}

template<typename Value>
QString worst(const QVector<Result> &results, const QString &text, milliseconds limit, Value value)
{
    milliseconds most{0};
    QString where;
    for (const Result &result : results) {
        if (result.point == nullptr || result.point->isWriting)
            continue;
        for (const Exchange &exchange : result.exchanges) {
            if (value(exchange) <= most)
                continue;
            most = value(exchange);
            where = exchange.text;
        }
    }
    return most <= limit ? QString() : text.arg(secondsText(most), secondsText(limit), where);
}

/** The exchanges that passed, since the others have their own reason. */
template<typename Look>
QString first(const QVector<Result> &results, Look look)
{
    for (const Result &result : results) {
        for (const Exchange &exchange : result.exchanges) {
            const QString found = exchange.problem.isEmpty() ? look(exchange) : QString();
            if (!found.isEmpty())
                return found + QStringLiteral(" (%1)").arg(exchange.text);
        }
    }
    return {};
}

/** What came beside the answers of an exchange; empty when nothing did. */
QString strayText(const Exchange &exchange)
{
    QByteArray host;
    for (const Traffic &traffic : exchange.traffic)
        host += traffic.isFromHost ? traffic.bytes : QByteArray();
    if (exchange.strayBytes.isEmpty())
        return {};
    return exchange.strayBytes == host ? QStringLiteral("the line repeats the bytes of the host")
                                       : QStringLiteral("bytes that are not part of an answer: %1")
                                             .arg(hexText(exchange.strayBytes));
}

} // namespace

Steps wrongChecksumSteps(const Facts &)
{
    return {mayAsk(QStringLiteral("F903 with a wrong checksum"),
                   withWrongChecksum(hostFrame(command::readModelName)),
                   refusal(command::readModelName)),
            readModelName()};
}

Steps wrongChecksumStatusSteps(const Facts &)
{
    constexpr quint8 checksumWrong = 1;
    return {ask(QStringLiteral("F903 with a wrong checksum"),
                withWrongChecksum(hostFrame(command::readModelName)),
                status(command::readModelName, checksumWrong))};
}

Steps wrongAddressSteps(const Facts &)
{
    constexpr mcu::FrameAddress elsewhere{0x5C, 0xA6};
    return {mayAsk(QStringLiteral("F903 with the frame address 5C A6"),
                   mcu::buildFrame(mcu::hostStart, elsewhere, command::readModelName),
                   refusal(command::readModelName)),
            readModelName()};
}

Steps wrongStartSteps(const Facts &)
{
    return {mayAsk(QStringLiteral("F903 with the start byte of a device"),
                   mcu::buildFrame(mcu::replyStart, {}, command::readModelName),
                   refusal(command::readModelName)),
            readModelName()};
}

Steps unknownCommandSteps(const Facts &)
{
    return {mayAsk(QStringLiteral("F9FE, which is not a command"), hostFrame(unknownCommand),
                   refusal(unknownCommand)),
            readModelName()};
}

Steps piecesSteps(const Facts &)
{
    Step step = readModelName();
    step.text += QStringLiteral(", the bytes one by one");
    const QByteArray frame = step.pieces.first().bytes;
    step.pieces.clear();
    for (const char byte : frame)
        step.pieces.append({QByteArray(1, byte), times::betweenPieces});
    return {step};
}

Steps mergedSteps(const Facts &)
{
    Step step = readModelName();
    const Step second = readProductId();
    step.text = QStringLiteral("F903 and F802 at once");
    step.pieces.first().bytes += second.pieces.first().bytes;
    step.answers += second.answers;
    return {step};
}

Steps noiseSteps(const Facts &)
{
    return recovery(QStringLiteral("16 bytes of noise"), noise, milliseconds(0));
}

Steps abortedSteps(const Facts &)
{
    return recovery(QStringLiteral("the first 9 bytes of a frame of 271"), halfFrame,
                    times::halfFrame);
}

Steps wrongLengthSteps(const Facts &)
{
    return recovery(QStringLiteral("a header with the length FFFF"), wrongLength, times::halfFrame);
}

Steps backToBackSteps(const Facts &)
{
    Steps steps;
    for (int i = 0; i < commandsBackToBack; ++i) {
        Step step = i % 2 == 0 ? readModelName() : readProductId();
        step.isOneOfMany = i >= 2;
        steps.append(step);
    }
    return steps;
}

QString problemOfExtraFrames(const QVector<Result> &results)
{
    return first(results, [](const Exchange &exchange) {
        return exchange.extraFrames.isEmpty()
                   ? QString()
                   : QStringLiteral("a frame that answers no command: %1")
                         .arg(hexText(exchange.extraFrames.first()));
    });
}

QString problemOfStrayBytes(const QVector<Result> &results)
{
    return first(results, strayText);
}

QString problemOfAnswerTimes(const QVector<Result> &results)
{
    return worst(results, QStringLiteral("an answer took %1, must take at most %2 (%3)"),
                 times::promptAnswer, [](const Exchange &exchange) { return exchange.answerTime; });
}

QString problemOfGaps(const QVector<Result> &results)
{
    return worst(results,
                 QStringLiteral("the bytes of an answer came with a gap of %1, must be at most %2 "
                                "(%3)"),
                 times::longestGap, [](const Exchange &exchange) { return exchange.gap; });
}

} // namespace devicecheck
