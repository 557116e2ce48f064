// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

Q_DECLARE_METATYPE(engine::CommandResult)

namespace engine::tst_channel {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

/** A channel whose results are kept. */
struct ChannelBench : PartBench
{
    ChannelBench()
    {
        QObject::connect(&channel, &CommandChannel::replied, &parent,
                         [this](CommandResult result, const Reply &) { results += result; });
        QObject::connect(&channel, &CommandChannel::updateModeReplied, &parent,
                         [this](const Reply &) { ++updateModeReplies; });
        QObject::connect(&channel, &CommandChannel::deviceSent, &parent,
                         [this](const Reply &) { ++deviceFrames; });
        QObject::connect(&channel, &CommandChannel::textReceived, &parent,
                         [this](const QString &line) { texts += line; });
    }

    QList<CommandResult> results;
    int updateModeReplies = 0;
    int deviceFrames = 0;
    QStringList texts;
};

} // namespace

class TestChannel : public QObject
{
    Q_OBJECT

private slots:
    void init() { currentCommandKey = 0; }

    void resultOfAReply_data()
    {
        const tests::DataTable<int, QByteArray, CommandResult> rows("word", "frame", "result");
        const auto refused = [](quint16 word) {
            return mcu::buildStatusFrame(mcu::replyStart, {}, word, 3);
        };
        const quint16 name = command::readModelName;
        rows("model name", int(name), PartBench::reply(name, "HX-8"), CommandResult::Answer);
        rows("no name", int(name), PartBench::reply(name), CommandResult::Answer);
        rows("refused", int(name), refused(name), CommandResult::Refusal);
        const quint16 bootcode = command::readBootcode;
        rows("bootcode", int(bootcode), PartBench::reply(bootcode, QByteArray(7, '\1')),
             CommandResult::Answer);
        rows("short", int(bootcode), PartBench::reply(bootcode, QByteArray(6, '\1')),
             CommandResult::ShortAnswer);
        const quint16 reboot = command::reboot;
        rows("any form", int(reboot), refused(reboot), CommandResult::Answer);
        const quint16 version = command::setVirtualVersion;
        rows("extended", int(version), refused(version), CommandResult::Answer);
        rows("not extended", int(version), PartBench::reply(version, QByteArray(3, '\0')),
             CommandResult::Refusal);
        const auto extended = [](const char *payload) {
            return PartBench::reply(command::escape, QByteArray::fromHex(payload));
        };
        rows("too long", int(version), extended("05790000"), CommandResult::Refusal);
        rows("too short", int(version), extended("0579"), CommandResult::Refusal);
        const quint16 write = command::writeProductInformation;
        rows("written", int(write), PartBench::reply(write, QByteArray(3, '\0')),
             CommandResult::Answer);
        rows("bad status", int(write), PartBench::reply(write, QByteArray(3, '\1')),
             CommandResult::Refusal);
    }

    void resultOfAReply()
    {
        QFETCH(int, word);
        QFETCH(QByteArray, frame);
        QFETCH(CommandResult, result);
        ChannelBench bench;
        bench.channel.request(quint16(word));
        QVERIFY(bench.channel.isWaiting());
        bench.link->deliver(frame);
        QCOMPARE(bench.results, QList<CommandResult>{result});
        QVERIFY(!bench.channel.isWaiting());
    }

    void replyInPieces()
    {
        ChannelBench bench;
        bench.channel.request(command::readModelName);
        const QByteArray frame = PartBench::reply(command::readModelName, "HX-8");
        for (const char byte : frame) {
            QVERIFY(bench.results.isEmpty());
            bench.link->deliver(QByteArray(1, byte));
        }
        QCOMPARE(bench.results, QList<CommandResult>{CommandResult::Answer});
    }

    void otherWordIsDropped()
    {
        ChannelBench bench;
        bench.channel.request(command::readModelName);
        bench.link->deliver(PartBench::reply(command::readProductId));
        QVERIFY(bench.results.isEmpty());
        bench.link->deliver(PartBench::reply(command::readModelName));
        QCOMPARE(bench.results.size(), 1);
    }

    void secondReplyIsDropped()
    {
        ChannelBench bench;
        bench.channel.request(command::readModelName);
        const QByteArray frame = PartBench::reply(command::readModelName);
        bench.link->deliver(frame + frame);
        bench.link->deliver(frame);
        QCOMPARE(bench.results.size(), 1);
    }

    void partialFrameDoesNotOutliveItsCommand()
    {
        ChannelBench bench;
        bench.channel.request(command::readModelName);
        bench.link->deliver(PartBench::reply(command::readModelName, "HX-8").left(9));
        bench.channel.request(command::readProductId);
        bench.link->deliver(PartBench::reply(command::readProductId));
        QCOMPARE(bench.results.size(), 1);
    }

    void silenceEndsTheWait()
    {
        ChannelBench bench;
        bench.channel.request(command::readModelName);
        bench.channel.onTimeOut();
        QCOMPARE(bench.results, QList<CommandResult>{CommandResult::Silence});
        QVERIFY(!bench.channel.isWaiting());
    }

    void refusedProductIdWaitsOn()
    {
        ChannelBench bench;
        bench.channel.request(command::readProductId);
        bench.link->deliver(mcu::buildStatusFrame(mcu::replyStart, {}, command::readProductId, 3));
        QCOMPARE(bench.results, QList<CommandResult>{CommandResult::Refusal});
        QVERIFY(bench.channel.isWaiting());
    }

    void forgottenCommandHasNoReply()
    {
        ChannelBench bench;
        bench.channel.request(command::readModelName);
        bench.channel.forget();
        QVERIFY(!bench.channel.isWaiting());
        QVERIFY(!canRead);
        bench.link->deliver(PartBench::reply(command::readModelName));
        QVERIFY(bench.results.isEmpty());
    }

    void refusedWriteClosesTheLink()
    {
        ChannelBench bench;
        bench.link->refusesWrites = true;
        bench.channel.request(command::readModelName);
        QCOMPARE(bench.lines, QStringList({"Disconnect", "ttyS2 port is disconnected."}));
        QVERIFY(!bench.links.isOpen());
        QVERIFY(!canRead);
        QVERIFY(bench.channel.isWaiting());
    }

    void updateModeKeepsTheLink()
    {
        ChannelBench bench;
        bench.link->refusesWrites = true;
        QVERIFY(!bench.channel.sendUpdateMode(1, 2));
        QVERIFY(bench.lines.isEmpty());
        bench.link->refusesWrites = false;
        QVERIFY(bench.channel.sendUpdateMode(1, 2));
        QCOMPARE(bench.link->sent.last().mid(mcu::payloadOffset, 2), QByteArray("\1\2"));
        bench.link->deliver(PartBench::reply(command::enterUpdateMode));
        QCOMPARE(bench.updateModeReplies, 1);
        QVERIFY(bench.results.isEmpty());
    }

    void statusFrameOpensTheDeviceChannel()
    {
        ChannelBench bench;
        QVERIFY(bench.channel.sendStatus(command::applicationStatus, 0));
        const QByteArray frame = mcu::buildStatusFrame(mcu::replyStart, {}, command::writeBlock, 0);
        bench.link->deliver(frame + frame);
        QCOMPARE(bench.deviceFrames, 2);
        bench.link->refusesWrites = true;
        QVERIFY(!bench.channel.sendStatus(command::applicationStatus, 0));
        QVERIFY(!bench.links.isOpen());
    }

    void textLines()
    {
        ChannelBench bench;
        bench.channel.expectText();
        QVERIFY(bench.channel.transmit("\r\nA00GET VER INF\r\n"));
        bench.link->deliver("one\r\ntw");
        bench.link->deliver("o\r\n\r\n");
        QCOMPARE(bench.texts, QStringList({"one", "two"}));
    }
};

AGENT_TEST(TestChannel)

} // namespace engine::tst_channel

#include "tst_channel.moc"
