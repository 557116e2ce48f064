// SPDX-License-Identifier: Apache-2.0
#include "device-check/Commands.h"

#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Statuses.h"

#include <QStringList>

namespace block = protocol::block;
namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace devicecheck {

namespace {

constexpr int longestData = 4096 - mcu::payloadOffset - 1;
constexpr int bootcodeSize = echoSize + 5;
/** Type, index, PCB version and speciality. */
constexpr int shortestRecord = echoSize + 2;

} // namespace

QByteArray hostFrame(quint16 word, const QByteArray &data)
{
    return mcu::buildFrame(mcu::hostStart, {}, word, data);
}

QByteArray withWrongChecksum(QByteArray frame)
{
    frame[frame.size() - 1] = char(frame.back() + 1);
    return frame;
}

Expected data(quint16 word, int least, int most)
{
    Expected expected;
    expected.kind = Expected::Kind::Data;
    expected.word = word;
    expected.leastData = least;
    expected.mostData = most;
    return expected;
}

Expected data(quint16 word, int size)
{
    return data(word, size, size);
}

Expected status(quint16 word, quint8 status)
{
    Expected expected;
    expected.kind = Expected::Kind::Status;
    expected.word = word;
    expected.status = status;
    return expected;
}

Expected refusal(quint16 word)
{
    Expected expected;
    expected.kind = Expected::Kind::Refusal;
    expected.word = word;
    return expected;
}

Expected any(quint16 word)
{
    Expected expected;
    expected.word = word;
    return expected;
}

Expected productId()
{
    return data(command::readProductId, 0, longestData);
}

Expected modelName()
{
    Expected expected = data(command::readModelName, 1, longestData);
    expected.problemOfData = [](const QByteArray &data) {
        return QString::fromUtf8(data).contains(QChar::ReplacementCharacter)
                   ? QStringLiteral("the model is not UTF-8")
                   : QString();
    };
    return expected;
}

Expected virtualVersion()
{
    return data(command::readVirtualVersion, 1);
}

Expected bootcode()
{
    return data(command::readBootcode, bootcodeSize);
}

Expected record()
{
    return data(command::readProductInformation, shortestRecord, longestData);
}

Expected version()
{
    return data(command::readVersion, echoSize + 2, echoSize + 3);
}

Step ask(const QString &text, const QByteArray &frame, const Expected &expected)
{
    Step step;
    step.text = text;
    step.pieces = {{frame}};
    step.answers = {expected};
    return step;
}

Step askNothing(const QString &text, const QByteArray &frame)
{
    Step step;
    step.text = text;
    step.pieces = {{frame}};
    step.limit = times::silence;
    return step;
}

Step mayAsk(const QString &text, const QByteArray &frame, const Expected &expected)
{
    Step step = ask(text, frame, expected);
    step.maySayNothing = true;
    step.limit = times::silence;
    return step;
}

QByteArray chipData(Chip chip)
{
    return QByteArray(1, char(chip.type)) + char(chip.index);
}

QString chipText(Chip chip)
{
    return QStringLiteral("chip %1,%2").arg(chip.type).arg(chip.index);
}

QString versionText(const QByteArray &version)
{
    QStringList numbers;
    for (const char number : version.mid(echoSize))
        numbers += QString::number(quint8(number));
    return numbers.join(QLatin1Char('.'));
}

Step readProductId()
{
    return ask(QStringLiteral("F802: read the product ID"), hostFrame(command::readProductId),
               productId());
}

Step readModelName()
{
    return ask(QStringLiteral("F903: read the model name"), hostFrame(command::readModelName),
               modelName());
}

Step readVirtualVersion()
{
    return ask(QStringLiteral("F905: read the virtual version"),
               hostFrame(command::readVirtualVersion), virtualVersion());
}

Step readBootcode(Chip chip)
{
    return ask(QStringLiteral("F900: read the bootcode information of %1").arg(chipText(chip)),
               hostFrame(command::readBootcode, chipData(chip)), bootcode());
}

Step readRecord(Chip chip)
{
    return ask(QStringLiteral("F901: read the product information of %1").arg(chipText(chip)),
               hostFrame(command::readProductInformation, chipData(chip)), record());
}

Step readVersion(Chip chip)
{
    return ask(QStringLiteral("F902: read the version of %1").arg(chipText(chip)),
               hostFrame(command::readVersion, chipData(chip)), version());
}

Step enterUpdateMode(Chip chip)
{
    Step step =
        ask(QStringLiteral("7900: enter the update mode of %1").arg(chipText(chip)),
            hostFrame(command::enterUpdateMode, chipData(chip)), status(command::enterUpdateMode));
    step.limit = times::enterUpdateMode;
    return step;
}

int blockCount(const Facts &facts)
{
    return (facts.image.size() + block::dataSize - 1) / block::dataSize;
}

QByteArray blockFrame(const Facts &facts, int number, quint8 flags)
{
    QByteArray content = facts.image.mid(number * block::dataSize, block::dataSize);
    content += QByteArray(block::dataSize - content.size(), char(block::lastPadding));
    QByteArray data = chipData(facts.target);
    data.append(char(number & 0xFF)).append(char((number >> 8) & 0xFF)).append(char(flags));
    return hostFrame(command::writeBlock, data + content);
}

Step writeBlock(const Facts &facts, int number)
{
    const bool isLast = number == blockCount(facts) - 1;
    Step step =
        ask(QStringLiteral("7901: write block %1").arg(number),
            blockFrame(facts, number, isLast ? block::lastFlag : 0), status(command::writeBlock));
    step.limit = isLast ? times::lastBlock : times::block;
    // An answer to the first blocks and the last one is enough to read.
    constexpr int shownBlocks = 3;
    step.isOneOfMany = !isLast && number >= shownBlocks;
    if (number == 0)
        step.pieces.first().pause = times::beforeFirstBlock;
    return step;
}

Step refusedBlock(const QString &text, const QByteArray &frame)
{
    Step step = ask(text, frame, refusal(command::writeBlock));
    step.limit = times::block;
    return step;
}

Step waitUntilBack()
{
    Step step = ask(QStringLiteral("F802: wait until the device answers again"),
                    hostFrame(command::readProductId), productId());
    step.pieces.first().pause = times::restart;
    step.attempts = times::restartAttempts;
    return step;
}

QVector<Step> reboot()
{
    return {ask(QStringLiteral("7902: reboot the device"), hostFrame(command::reboot),
                any(command::reboot)),
            waitUntilBack()};
}

Step switchPowerOffAndOn()
{
    Step step;
    step.text = QStringLiteral("the power is switched off and on");
    step.action = Step::Action::SwitchPowerOffAndOn;
    return step;
}

} // namespace devicecheck
