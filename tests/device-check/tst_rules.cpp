// SPDX-License-Identifier: Apache-2.0
#include "SimulatedChannel.h"
#include "support/TestCase.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

#include <QtTest>

#include <memory>

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using devicecheck::Point;
using devicecheck::Result;
using devicecheck::RunSettings;
using protocol::Reply;

namespace tst_rules {

namespace {

using Answers = QVector<DeviceAnswer>;
using Change = std::function<QByteArray(QByteArray host)>;

quint16 wordOf(const QByteArray &frame)
{
    return frame.size() > mcu::payloadOffset ? mcu::wordAt(frame, mcu::wordOffset) : quint16(0);
}

/** A correct device that gets other bytes than were sent. */
SimulatedChannel::Behaviour seeing(const Change &change)
{
    return [change](SimulatedDevice &device, const QByteArray &host) {
        const QByteArray seen = change(host);
        return seen.isEmpty() ? Answers() : device.receive(seen);
    };
}

/** A correct device whose answers to a command are changed. */
SimulatedChannel::Behaviour answering(quint16 word, const Change &change)
{
    return [word, change](SimulatedDevice &device, const QByteArray &host) {
        Answers answers = device.receive(host);
        for (DeviceAnswer &answer : answers) {
            if (wordOf(host) == word)
                answer.bytes = change(answer.bytes);
        }
        return answers;
    };
}

QByteArray answerOf(quint16 word, const QByteArray &data)
{
    return mcu::buildFrame(mcu::replyStart, {}, word, data);
}

QByteArray statusOf(quint16 word, quint8 status)
{
    return mcu::buildStatusFrame(mcu::replyStart, {}, word, status);
}

QByteArray dataOf(const QByteArray &frame)
{
    return Reply(frame).payload();
}

/** The same frame with the checksum that it must have. */
QByteArray withRightChecksum(QByteArray frame)
{
    if (frame.size() <= mcu::payloadOffset)
        return frame;
    frame.chop(1);
    return frame + char(0x100 - mcu::byteSum(frame));
}

/** Collects the bytes of a frame by its length field alone, without a time-out. */
SimulatedChannel::Behaviour neverGivingUp()
{
    const auto collected = std::make_shared<QByteArray>();
    return [collected](SimulatedDevice &device, const QByteArray &host) {
        *collected += host;
        Answers answers;
        while (collected->size() > mcu::lengthOffset + 1) {
            const int size = mcu::wordAt(*collected, mcu::lengthOffset) + mcu::uncounted;
            if (collected->size() < size)
                break;
            answers += device.receive(collected->left(size));
            collected->remove(0, size);
        }
        return answers;
    };
}

/** Remembers the versions that it had before the first block. */
SimulatedChannel::Behaviour keepingItsVersion()
{
    return answering(command::readVersion, [](const QByteArray &answer) {
        QByteArray data = dataOf(answer);
        if (data.count('\0') == data.size())
            data[2] = 1;
        return answerOf(command::readVersion, data);
    });
}

/** Answers a command without doing anything. */
SimulatedChannel::Behaviour pretending(quint16 word, const QByteArray &answer)
{
    return [word, answer](SimulatedDevice &device, const QByteArray &host) {
        return wordOf(host) == word ? Answers{{answer, std::chrono::milliseconds(0)}}
                                    : device.receive(host);
    };
}

/** Enters the update mode of chip 0, 0 by itself before each block. */
SimulatedChannel::Behaviour alwaysInUpdateMode()
{
    return [](SimulatedDevice &device, const QByteArray &host) {
        if (wordOf(host) == command::writeBlock && mcu::wordAt(host, mcu::payloadOffset + 2) == 0)
            device.receive(
                mcu::buildFrame(mcu::hostStart, {}, command::enterUpdateMode, QByteArray(2, '\0')));
        return device.receive(host);
    };
}

/** A refused block counts as written. */
SimulatedChannel::Behaviour acceptingBlocks(const std::function<bool(int number)> &accepts)
{
    return [accepts](SimulatedDevice &device, const QByteArray &host) {
        Answers answers = device.receive(host);
        if (wordOf(host) == command::writeBlock &&
            accepts(mcu::wordAt(host, mcu::payloadOffset + 2)) && !answers.isEmpty())
            answers.first().bytes = statusOf(command::writeBlock, 0);
        return answers;
    };
}

/** Erases the flash at 7900: its version and flag are those of a half-written chip. */
SimulatedChannel::Behaviour erasingAtEnter()
{
    const auto isErased = std::make_shared<bool>(false);
    return [isErased](SimulatedDevice &device, const QByteArray &host) {
        if (wordOf(host) == command::enterUpdateMode)
            *isErased = true;
        if (wordOf(host) == command::writeBlock)
            *isErased = false;
        if (*isErased && wordOf(host) == command::readVersion)
            return Answers{{answerOf(command::readVersion, dataOf(host) + QByteArray(3, '\0')),
                            std::chrono::milliseconds(0)}};
        return device.receive(host);
    };
}

} // namespace

/** A way in which a device breaks the rules. */
struct Breach
{
    const char *what;
    SimulatedChannel::Behaviour behaviour;
    /** The points that fail, the one that it is about first. */
    const char *failed;
};

const QVector<Breach> &breaches()
{
    using Bytes = QByteArray;
    static const QVector<Breach> table{
        {"no answer at all", seeing([](const Bytes &) { return Bytes(); }), "answers"},
        {"F802 has the extended form",
         answering(command::readProductId,
                   [](const Bytes &) { return statusOf(command::readProductId, 0); }),
         "read-product-id back-to-back reboot"},
        {"the model is Latin-1",
         answering(command::readModelName,
                   [](const Bytes &) { return answerOf(command::readModelName, "M\xfc"); }),
         "read-model half-written enter-again"},
        {"one version number",
         answering(command::readVersion,
                   [](const Bytes &answer) {
                       return answerOf(command::readVersion, dataOf(answer).left(3));
                   }),
         "read-version half-written enter-again new-version"},
        {"F900 has one byte too many",
         answering(command::readBootcode,
                   [](const Bytes &answer) {
                       return answerOf(command::readBootcode, dataOf(answer) + 'x');
                   }),
         "read-bootcode chip-echo half-written enter-again new-version"},
        {"F901 is refused",
         answering(command::readProductInformation,
                   [](const Bytes &) { return statusOf(command::readProductInformation, 3); }),
         "read-information chip-echo"},
        {"the record has two bytes too many",
         answering(command::readProductInformation,
                   [](const Bytes &answer) {
                       return answerOf(command::readProductInformation, dataOf(answer) + "xx");
                   }),
         "information-layout write-information"},
        {"the virtual version has two bytes",
         answering(command::readVirtualVersion,
                   [](const Bytes &) { return answerOf(command::readVirtualVersion, "12"); }),
         "read-virtual-version"},
        {"the version is that of chip 0, 0",
         answering(command::readVersion,
                   [](const Bytes &answer) {
                       return answerOf(command::readVersion, Bytes(2, 0) + dataOf(answer).mid(2));
                   }),
         "chip-echo"},
        {"every chip exists", seeing([](const Bytes &host) {
             if (wordOf(host) != command::readVersion)
                 return host;
             return mcu::buildFrame(mcu::hostStart, {}, command::readVersion, Bytes(2, 0));
         }),
         "chip-echo wrong-chip"},
        {"an FPGA has bootcode information",
         [](SimulatedDevice &device, const Bytes &host) {
             if (wordOf(host) != command::readBootcode || host.at(mcu::payloadOffset) != 17)
                 return device.receive(host);
             const Bytes data = dataOf(host) + Bytes(5, 0);
             return Answers{{answerOf(command::readBootcode, data), std::chrono::milliseconds(0)}};
         },
         "fpga-reads"},
        {"the second auxiliary chip is missing", seeing([](const Bytes &host) {
             const bool isSecond = host.size() > 11 && dataOf(host) == Bytes("\1\1", 2);
             return isSecond ? Bytes() : host;
         }),
         "numbering"},
        {"a wrong checksum is not noticed", seeing(withRightChecksum),
         "wrong-checksum wrong-checksum-status block-checksum"},
        {"a wrong checksum is refused with status 3",
         [](SimulatedDevice &device, const Bytes &host) {
             Answers answers = device.receive(host);
             if (host.size() > 9 && mcu::byteSum(host) != 0 && answers.size() == 1)
                 answers.first().bytes = statusOf(wordOf(host), 3);
             return answers;
         },
         "wrong-checksum-status"},
        {"the address is not compared", seeing([](Bytes host) {
             return host.startsWith("\x5a\x5c\xa6")
                        ? withRightChecksum(host.replace(1, 2, "\x5b\xa5"))
                        : host;
         }),
         "wrong-address"},
        {"the start byte is not compared", seeing([](Bytes host) {
             return host.startsWith("\x5b\x5b\xa5") ? withRightChecksum(host.replace(0, 1, "\x5a"))
                                                    : host;
         }),
         "wrong-start"},
        {"an unknown command is executed",
         [](SimulatedDevice &device, const Bytes &host) {
             if (wordOf(host) != 0xF9FE)
                 return device.receive(host);
             return Answers{{answerOf(0xF9FE, "x"), std::chrono::milliseconds(0)}};
         },
         "unknown-command"},
        {"a frame must arrive at once",
         seeing([](const Bytes &host) { return host.size() > 1 ? host : Bytes(); }),
         "frame-in-pieces"},
        {"of two commands only the first one is seen", seeing([](const Bytes &host) {
             const int second = host.indexOf("\x5a\x5b\xa5", 1);
             return host.left(second < 0 ? host.size() : second);
         }),
         "merged-frames"},
        {"a frame begins with its start byte or is lost",
         [](SimulatedDevice &device, const Bytes &host) {
             static bool isNoisy = false;
             const bool wasNoisy = std::exchange(isNoisy, host.size() > 1 && host.at(0) == 0);
             return wasNoisy || isNoisy ? Answers() : device.receive(host);
         },
         "noise"},
        {"an incomplete frame is waited for without end", neverGivingUp(),
         "noise aborted-frame wrong-length back-to-back reboot"},
        {"no return after a reboot", seeing([](const Bytes &host) {
             static bool isDown = false;
             isDown = isDown || wordOf(host) == command::reboot;
             return isDown ? Bytes() : host;
         }),
         "reboot"},
        {"7900 is refused",
         pretending(command::enterUpdateMode, statusOf(command::enterUpdateMode, 3)),
         "enter-wrong-chip enter"},
        {"a chip that does not exist enters the update mode",
         pretending(command::enterUpdateMode, statusOf(command::enterUpdateMode, 0)),
         "enter-wrong-chip first-block"},
        {"blocks need no update mode", alwaysInUpdateMode(),
         "block-outside enter-erases-nothing block-order repeated-block"},
        {"7900 erases the flash", erasingAtEnter(), "enter-erases-nothing"},
        {"any block is accepted", acceptingBlocks([](int) { return true; }),
         "block-outside block-order repeated-block skipped-block block-length block-checksum "
         "enter-again reboot-half-written power-off"},
        {"block 2 is always accepted", acceptingBlocks([](int number) { return number == 2; }),
         "skipped-block block-length block-checksum enter-again power-off"},
        {"the version of an incomplete image", keepingItsVersion(), "half-written enter-again"},
        {"a repeated block is refused",
         [](SimulatedDevice &device, const Bytes &host) {
             static Bytes last;
             const bool isRepeated = wordOf(host) == command::writeBlock && host == last;
             last = host;
             if (!isRepeated)
                 return device.receive(host);
             return Answers{{statusOf(command::writeBlock, 3), std::chrono::milliseconds(0)}};
         },
         "repeated-block"},
        {"a repeated block is answered 300 ms later",
         [](SimulatedDevice &device, const Bytes &host) {
             static Bytes last;
             Answers answers = device.receive(host);
             if (wordOf(host) == command::writeBlock && host == last && !answers.isEmpty())
                 answers.last().delay += std::chrono::milliseconds(300);
             last = host;
             return answers;
         },
         "repeated-block"},
        {"short blocks are filled up", seeing([](const Bytes &host) {
             if (wordOf(host) != command::writeBlock || dataOf(host).size() == 261)
                 return host;
             return mcu::buildFrame(mcu::hostStart, {}, command::writeBlock,
                                    dataOf(host).leftJustified(261, '\0', true));
         }),
         "block-length"},
        {"a damaged block is written", seeing([](const Bytes &host) {
             return wordOf(host) == command::writeBlock ? withRightChecksum(host) : host;
         }),
         "block-checksum"},
        {"7900 does not start an image again",
         [](SimulatedDevice &device, const Bytes &host) {
             static bool isBegun = false;
             const bool isIgnored = isBegun && wordOf(host) == command::enterUpdateMode;
             isBegun = wordOf(host) == command::writeBlock ||
                       (isBegun && !isIgnored && wordOf(host) != command::reboot);
             if (!isIgnored)
                 return device.receive(host);
             return Answers{{statusOf(command::enterUpdateMode, 0), std::chrono::milliseconds(0)}};
         },
         "skipped-block block-length block-checksum enter-again reboot-half-written power-off "
         "image"},
        {"no return after the last block",
         [](SimulatedDevice &device, const Bytes &host) {
             static bool isDown = false;
             const Answers answers = isDown ? Answers() : device.receive(host);
             isDown = isDown || (wordOf(host) == command::writeBlock && host.at(13) == 0x40);
             return answers;
         },
         "back-after-image set-virtual-version write-information"},
        {"the version does not change",
         answering(command::readVersion,
                   [](const Bytes &answer) {
                       Bytes data = dataOf(answer);
                       if (data == Bytes("\0\0\1\1\0", 5))
                           data = Bytes(5, 0);
                       return answerOf(command::readVersion, data);
                   }),
         "new-version"},
        {"the last auxiliary chip is missing in the record",
         answering(command::readProductInformation,
                   [](const Bytes &answer) {
                       Bytes data = dataOf(answer);
                       return answerOf(command::readProductInformation,
                                       data.replace("\1\2\3AUX", "\1\3\3AUX"));
                   }),
         "numbering"},
        {"7902 restarts nothing", pretending(command::reboot, statusOf(command::reboot, 0)),
         "reboot-half-written"},
        {"7905 stores nothing",
         pretending(command::setVirtualVersion, statusOf(command::setVirtualVersion, 0)),
         "virtual-version-kept"},
        {"7905 is answered in the ordinary form",
         answering(command::setVirtualVersion,
                   [](const Bytes &) { return answerOf(command::setVirtualVersion, Bytes(1, 0)); }),
         "set-virtual-version"},
        {"7903 is refused",
         pretending(command::writeProductInformation,
                    answerOf(command::writeProductInformation, Bytes("\0\0\3", 3))),
         "write-information"},
        {"the last block is refused",
         [](SimulatedDevice &device, const Bytes &host) {
             if (wordOf(host) != command::writeBlock || host.at(13) != 0x40)
                 return device.receive(host);
             return Answers{{statusOf(command::writeBlock, 3), std::chrono::milliseconds(0)}};
         },
         "image"},
        {"every answer comes twice",
         [](SimulatedDevice &device, const Bytes &host) {
             Answers answers = device.receive(host);
             return answers + answers;
         },
         "one-answer"},
        {"every answer ends with a line end",
         [](SimulatedDevice &device, const Bytes &host) {
             Answers answers = device.receive(host);
             for (DeviceAnswer &answer : answers)
                 answer.bytes += "\r\n";
             return answers;
         },
         "only-answers"},
        {"every answer takes 2 s",
         [](SimulatedDevice &device, const Bytes &host) {
             Answers answers = device.receive(host);
             for (DeviceAnswer &answer : answers)
                 answer.delay += std::chrono::seconds(2);
             return answers;
         },
         "answer-time"},
        {"every answer has a gap of 500 ms",
         [](SimulatedDevice &device, const Bytes &host) {
             Answers answers;
             for (const DeviceAnswer &answer : device.receive(host)) {
                 answers.append({answer.bytes.left(4), answer.delay});
                 answers.append(
                     {answer.bytes.mid(4), answer.delay + std::chrono::milliseconds(500)});
             }
             return answers;
         },
         "merged-frames repeated-block answer-gaps"},
    };
    return table;
}

class TestRules : public QObject
{
    Q_OBJECT

private slots:
    void findsEachBreach_data()
    {
        QTest::addColumn<int>("number");
        for (int i = 0; i < breaches().size(); ++i)
            QTest::newRow(breaches().at(i).what) << i;
    }

    void findsEachBreach()
    {
        QFETCH(int, number);
        SimulatedChannel channel(fourChips());
        channel.setBehaviour(breaches().at(number).behaviour);
        const QVector<Result> results = runChecks(channel, allChecks());
        QCOMPARE(failedPoints(results), QString(breaches().at(number).failed));
    }

    /** A point that passes whatever a device does would check nothing. */
    void everyPointCanFail()
    {
        QStringList failing{"numbering-from-zero"}; // tst_run.cpp, passesNumberedByQuantity()
        for (const Breach &breach : breaches())
            failing += QString(breach.failed).split(' ');
        for (const Point &point : devicecheck::points())
            QVERIFY2(failing.contains(point.id), point.id);
    }

    void tableIsSound()
    {
        QStringList before{""};
        for (const Point &point : devicecheck::points()) {
            QVERIFY2(before.contains(point.needs), point.id); // so it is decided before
            QVERIFY2(!before.contains(point.id), point.id);
            QVERIFY2((point.steps == nullptr) == (point.judge != nullptr), point.id);
            QVERIFY2(!point.isWriting || *point.needs != '\0', point.id);
            before += point.id;
        }
        QVERIFY(before.size() > 40);
    }
};

AGENT_TEST(TestRules)

} // namespace tst_rules

#include "tst_rules.moc"
