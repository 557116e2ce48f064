// SPDX-License-Identifier: Apache-2.0
#include "SimulatedChannel.h"
#include "support/TestCase.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

#include <QtTest>

#include <utility>

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace devicecheck::tst_rules {

namespace {

using Bytes = QByteArray;
using Answers = QVector<DeviceAnswer>;
using Behaviour = SimulatedChannel::Behaviour;
using Change = std::function<Bytes(Bytes bytes)>;

quint16 wordOf(const Bytes &frame)
{
    return frame.size() > mcu::payloadOffset ? mcu::wordAt(frame, mcu::wordOffset) : quint16(0);
}

bool isBlock(const Bytes &host)
{
    return wordOf(host) == command::writeBlock;
}

bool isLastBlock(const Bytes &host)
{
    return isBlock(host) && host.at(13) == 0x40;
}

int blockNumber(const Bytes &host)
{
    return mcu::wordAt(host, mcu::payloadOffset + 2);
}

Bytes hostFrame(quint16 word, const Bytes &data)
{
    return mcu::buildFrame(mcu::hostStart, {}, word, data);
}

Bytes answerOf(quint16 word, const Bytes &data)
{
    return mcu::buildFrame(mcu::replyStart, {}, word, data);
}

Bytes statusOf(quint16 word, quint8 status)
{
    return mcu::buildStatusFrame(mcu::replyStart, {}, word, status);
}

Bytes dataOf(const Bytes &frame)
{
    return Reply(frame).payload();
}

/** The same frame with the checksum that it must have. */
Bytes withRightChecksum(Bytes frame)
{
    if (frame.size() <= mcu::payloadOffset)
        return frame;
    frame.chop(1);
    return frame + char(0x100 - mcu::byteSum(frame));
}

/** A correct device that gets other bytes than were sent. */
Behaviour seeing(const Change &change)
{
    return [change](SimulatedDevice &device, const Bytes &host) {
        const Bytes seen = change(host);
        return seen.isEmpty() ? Answers() : device.receive(seen);
    };
}

/** A correct device except for some commands: it answers them without doing anything. */
Behaviour pretending(const std::function<bool(const Bytes &host)> &applies, const Change &answer)
{
    return [applies, answer](SimulatedDevice &device, const Bytes &host) {
        return applies(host) ? Answers{{answer(host), std::chrono::milliseconds(0)}}
                             : device.receive(host);
    };
}

Behaviour pretending(quint16 word, const Bytes &answer)
{
    return pretending([word](const Bytes &host) { return wordOf(host) == word; },
                      [answer](const Bytes &) { return answer; });
}

/** A correct device of whose answers something else becomes. */
Behaviour answering(const std::function<Answers(const Bytes &host, Answers answers)> &change)
{
    return [change](SimulatedDevice &device, const Bytes &host) {
        return change(host, device.receive(host));
    };
}

/** A correct device whose answers to a command are changed. */
Behaviour changing(quint16 word, const Change &change)
{
    return answering([word, change](const Bytes &host, Answers answers) {
        for (DeviceAnswer &answer : answers) {
            if (wordOf(host) == word)
                answer.bytes = change(answer.bytes);
        }
        return answers;
    });
}

/** A correct device that sends other data in its answers to a command. */
Behaviour changingData(quint16 word, const Change &change)
{
    return changing(word, [word, change](const Bytes &answer) {
        return answerOf(word, change(dataOf(answer)));
    });
}

/** Collects the bytes of a frame by its length field alone, without a time-out. */
Behaviour neverGivingUp()
{
    return [collected = Bytes()](SimulatedDevice &device, const Bytes &host) mutable {
        collected += host;
        Answers answers;
        while (collected.size() > mcu::lengthOffset + 1) {
            const int size = mcu::wordAt(collected, mcu::lengthOffset) + mcu::uncounted;
            if (collected.size() < size)
                break;
            answers += device.receive(collected.left(size));
            collected.remove(0, size);
        }
        return answers;
    };
}

/** Enters the update mode of chip 0, 0 by itself before each block. */
Behaviour alwaysInUpdateMode()
{
    return [](SimulatedDevice &device, const Bytes &host) {
        if (isBlock(host) && blockNumber(host) == 0)
            device.receive(hostFrame(command::enterUpdateMode, Bytes(2, '\0')));
        return device.receive(host);
    };
}

/** A refused block counts as written. */
Behaviour acceptingBlocks(const std::function<bool(int number)> &accepts)
{
    return answering([accepts](const Bytes &host, Answers answers) {
        if (isBlock(host) && accepts(blockNumber(host)) && !answers.isEmpty())
            answers.first().bytes = statusOf(command::writeBlock, 0);
        return answers;
    });
}

/** Erases the flash at 7900: its version and flag are those of a half-written chip. */
Behaviour erasingAtEnter()
{
    const auto isErased = [erased = false](const Bytes &host) mutable {
        erased = wordOf(host) == command::enterUpdateMode || (erased && !isBlock(host));
        return erased && wordOf(host) == command::readVersion;
    };
    return pretending(isErased, [](const Bytes &host) {
        return answerOf(command::readVersion, dataOf(host) + Bytes(3, '\0'));
    });
}

} // namespace

/** A way in which a device breaks the rules. */
struct Breach
{
    /** What it does, or, without a behaviour, the fault of the simulator. */
    const char *what;
    /** The points that fail. */
    const char *failed;
    Behaviour behaviour = {};
};

const QVector<Breach> &breaches()
{
    static const QVector<Breach> table{
        {"F802 has the extended form", "read-product-id back-to-back reboot",
         pretending(command::readProductId, statusOf(command::readProductId, 0))},
        {"the model is Latin-1", "read-model half-written enter-again",
         changingData(command::readModelName, [](const Bytes &) { return "M\xfc"; })},
        {"F900 has one byte too many",
         "read-bootcode chip-echo half-written enter-again new-version",
         changingData(command::readBootcode, [](const Bytes &data) { return data + 'x'; })},
        {"the record has two bytes too many", "information-layout write-information",
         changingData(command::readProductInformation,
                      [](const Bytes &data) { return data + "xx"; })},
        {"the virtual version has two bytes", "read-virtual-version",
         changingData(command::readVirtualVersion, [](const Bytes &) { return "12"; })},
        {"the version is that of chip 0, 0", "chip-echo",
         changingData(command::readVersion,
                      [](Bytes data) { return data.replace(0, 2, Bytes(2, 0)); })},
        {"every chip exists", "chip-echo wrong-chip", seeing([](const Bytes &host) {
             return wordOf(host) == command::readVersion
                        ? hostFrame(command::readVersion, Bytes(2, 0))
                        : host;
         })},
        {"an FPGA has bootcode information", "fpga-reads",
         pretending(
             [](const Bytes &host) {
                 return wordOf(host) == command::readBootcode && host.at(mcu::payloadOffset) == 17;
             },
             [](const Bytes &host) {
                 return answerOf(command::readBootcode, dataOf(host) + Bytes(5, 0));
             })},
        {"the second auxiliary chip is missing", "numbering", seeing([](const Bytes &host) {
             const bool isSecond = host.size() > 11 && dataOf(host) == Bytes("\1\1", 2);
             return isSecond ? Bytes() : host;
         })},
        {"a wrong checksum is not noticed", "wrong-checksum wrong-checksum-status block-checksum",
         seeing(withRightChecksum)},
        {"a wrong checksum is refused with status 3", "wrong-checksum-status",
         answering([](const Bytes &host, Answers answers) {
             if (host.size() > 9 && mcu::byteSum(host) != 0 && answers.size() == 1)
                 answers.first().bytes = statusOf(wordOf(host), 3);
             return answers;
         })},
        {"the address is not compared", "wrong-address", seeing([](Bytes host) {
             return host.startsWith("\x5a\x5c\xa6")
                        ? withRightChecksum(host.replace(1, 2, "\x5b\xa5"))
                        : host;
         })},
        {"the start byte is not compared", "wrong-start", seeing([](Bytes host) {
             return host.startsWith("\x5b\x5b\xa5") ? withRightChecksum(host.replace(0, 1, "\x5a"))
                                                    : host;
         })},
        {"an unknown command is executed", "unknown-command",
         pretending(0xF9FE, answerOf(0xF9FE, "x"))},
        {"a frame must arrive at once", "frame-in-pieces",
         seeing([](const Bytes &host) { return host.size() > 1 ? host : Bytes(); })},
        {"of two commands only the first one is seen", "merged-frames",
         seeing([](const Bytes &host) {
             const int second = host.indexOf("\x5a\x5b\xa5", 1);
             return host.left(second < 0 ? host.size() : second);
         })},
        {"a frame begins with its start byte or is lost", "noise",
         seeing([isNoisy = false](const Bytes &host) mutable {
             const bool wasNoisy = std::exchange(isNoisy, host.size() > 1 && host.at(0) == 0);
             return wasNoisy || isNoisy ? Bytes() : host;
         })},
        {"an incomplete frame is waited for without end",
         "noise aborted-frame wrong-length back-to-back reboot", neverGivingUp()},
        {"a chip that does not exist enters the update mode", "enter-wrong-chip first-block",
         pretending(command::enterUpdateMode, statusOf(command::enterUpdateMode, 0))},
        {"blocks need no update mode",
         "block-outside enter-erases-nothing block-order repeated-block", alwaysInUpdateMode()},
        {"7900 erases the flash", "enter-erases-nothing", erasingAtEnter()},
        {"any block is accepted",
         "block-outside block-order repeated-block skipped-block block-length block-checksum "
         "enter-again reboot-half-written power-off",
         acceptingBlocks([](int) { return true; })},
        {"block 2 is always accepted",
         "skipped-block block-length block-checksum enter-again power-off",
         acceptingBlocks([](int number) { return number == 2; })},
        {"the version of an incomplete image", "half-written enter-again",
         changingData(command::readVersion,
                      [](Bytes data) {
                          return data.count('\0') == data.size() ? data.replace(2, 1, "\1") : data;
                      })},
        {"a repeated block is refused", "repeated-block",
         pretending(
             [last = Bytes()](const Bytes &host) mutable {
                 return std::exchange(last, host) == host && isBlock(host);
             },
             [](const Bytes &) { return statusOf(command::writeBlock, 3); })},
        {"a repeated block is answered 300 ms later", "repeated-block",
         answering([last = Bytes()](const Bytes &host, Answers answers) mutable {
             if (std::exchange(last, host) == host && isBlock(host) && !answers.isEmpty())
                 answers.last().delay += std::chrono::milliseconds(300);
             return answers;
         })},
        {"short blocks are filled up", "block-length", seeing([](const Bytes &host) {
             return isBlock(host) && dataOf(host).size() != 261
                        ? hostFrame(command::writeBlock,
                                    dataOf(host).leftJustified(261, '\0', true))
                        : host;
         })},
        {"a damaged block is written", "block-checksum",
         seeing([](const Bytes &host) { return isBlock(host) ? withRightChecksum(host) : host; })},
        {"7900 does not start an image again",
         "skipped-block block-length block-checksum enter-again reboot-half-written power-off "
         "image",
         pretending(
             [isBegun = false](const Bytes &host) mutable {
                 const bool isIgnored = isBegun && wordOf(host) == command::enterUpdateMode;
                 isBegun =
                     isBlock(host) || (isBegun && !isIgnored && wordOf(host) != command::reboot);
                 return isIgnored;
             },
             [](const Bytes &) { return statusOf(command::enterUpdateMode, 0); })},
        {"no return after the last block", "back-after-image set-virtual-version write-information",
         [isDown = false](SimulatedDevice &device, const Bytes &host) mutable {
             return std::exchange(isDown, isDown || isLastBlock(host)) ? Answers()
                                                                       : device.receive(host);
         }},
        {"the version does not change", "new-version",
         changingData(command::readVersion,
                      [](const Bytes &data) {
                          return data == Bytes("\0\0\1\1\0", 5) ? Bytes(5, 0) : data;
                      })},
        {"the last auxiliary chip is missing in the record", "numbering",
         changingData(command::readProductInformation,
                      [](Bytes data) { return data.replace("\1\2\3AUX", "\1\3\3AUX"); })},
        {"7902 restarts nothing", "reboot-half-written",
         pretending(command::reboot, statusOf(command::reboot, 0))},
        {"7905 stores nothing", "virtual-version-kept",
         pretending(command::setVirtualVersion, statusOf(command::setVirtualVersion, 0))},
        {"7903 is refused", "write-information",
         pretending(command::writeProductInformation,
                    answerOf(command::writeProductInformation, Bytes("\0\0\3", 3)))},
        {"every answer ends with a line end", "only-answers",
         answering([](const Bytes &, Answers answers) {
             for (DeviceAnswer &answer : answers)
                 answer.bytes += "\r\n";
             return answers;
         })},
        {"every answer has a gap of 500 ms", "merged-frames repeated-block answer-gaps",
         answering([](const Bytes &, const Answers &whole) {
             Answers halves;
             for (const auto &[bytes, delay] : whole)
                 halves += {{bytes.left(4), delay},
                            {bytes.mid(4), delay + std::chrono::milliseconds(500)}};
             return halves;
         })},
        {"short:word=version,bytes=3", "read-version half-written enter-again new-version"},
        {"refuse:word=product-info", "read-information chip-echo wrong-chip"},
        {"other-form:word=set-virtual-version", "set-virtual-version"},
        {"late:delay=2000", "answer-time"},
        {"refuse-block:block=3", "image"},
        {"silent", "answers"},
        {"silent:word=enter", "enter"},
        {"lose-reply:word=block", "block-outside block-order first-block"},
        {"lose-reply:word=set-virtual-version", "set-virtual-version"},
        {"refuse:word=enter", "enter-wrong-chip enter"},
        {"refuse:word=version",
         "read-version chip-echo wrong-chip half-written enter-again new-version"},
        {"late:word=bootcode",
         "read-bootcode chip-echo half-written enter-again new-version answer-time"},
        // Within the 10 s of a read command.
        {"late:word=model-name,delay=5000", "merged-frames answer-time"},
        {"busy:word=block,block=1,delay=16000,count=once", "block-order"},
        {"bad-checksum:word=version",
         "read-version chip-echo half-written enter-again new-version"},
        {"wrong-word:word=model-name", "read-model half-written enter-again"},
        {"short:word=bootcode,bytes=6",
         "read-bootcode chip-echo half-written enter-again new-version"},
        {"duplicate", "one-answer"},
        // An echo has another start byte than an answer.
        {"echo", "wrong-start only-answers"},
        // The agent drops bytes before a start byte.
        {"noise:hex=00ff", "only-answers"},
        {"noise:hex=5b5ba5", "answers"},
        // An answer may arrive in pieces.
        {"split", ""},
        {"split:delay=100", "merged-frames repeated-block answer-time"},
        {"split:delay=1000", "answers"},
        {"merge", "answers"},
        {"merge:word=product-info,count=once", "read-information one-answer"},
        {"wrong-address", "answers"},
        {"other-form:word=enter", "enter"},
        {"other-form:word=version", "read-version chip-echo half-written enter-again new-version"},
        {"refuse-block:block=1",
         "repeated-block skipped-block block-length block-checksum enter-again power-off image"},
        {"silent-block:block=2,count=once", "skipped-block"},
        {"die-at-block:block=1", "block-order first-block set-virtual-version write-information"},
        {"die-at-block:block=1,delay=2000",
         "block-order repeated-block skipped-block block-length block-checksum enter-again "
         "reboot-half-written power-off image"},
        {"no-return-after-reboot", "reboot"},
    };
    return table;
}

class TestRules : public QObject
{
    Q_OBJECT

private slots:
    void findsEachBreach_data()
    {
        const tests::DataTable<int> rows("number");
        for (int i = 0; i < breaches().size(); ++i)
            rows(breaches().at(i).what, i);
    }

    void findsEachBreach()
    {
        QFETCH(int, number);
        const auto &[what, failed, behaviour] = breaches().at(number);
        SimulatedChannel channel(fourChips());
        if (behaviour)
            channel.setBehaviour(behaviour);
        else
            channel.addFault(what);
        QCOMPARE(failedPoints(runChecks(channel, allChecks())), QString(failed));
    }

    void triesEveryFaultOfTheSimulator()
    {
        QStringList tried;
        for (const Breach &breach : breaches())
            tried += QString(breach.what).section(':', 0, 0);
        const QStringList help = Fault::help();
        QVERIFY(help.size() > 15);
        for (const QString &line : help)
            QVERIFY2(tried.contains(line.section(' ', 0, 0)), qPrintable(line));
    }

    /** A point that passes whatever a device does would check nothing. */
    void everyPointCanFail()
    {
        QStringList failing{"numbering-from-zero"}; // tst_run.cpp, passesNumberedByQuantity()
        for (const Breach &breach : breaches())
            failing += QString(breach.failed).split(' ');
        for (const Point &point : points())
            QVERIFY2(failing.contains(point.id), point.id);
    }

    void tableIsSound()
    {
        QStringList before{""};
        for (const Point &point : points()) {
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

} // namespace devicecheck::tst_rules

#include "tst_rules.moc"
