// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

#include <tuple>

Q_DECLARE_METATYPE(engine::CommandResult)

namespace engine::tst_channel {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

/** A channel whose results are kept, after a request. */
struct ChannelBench : PartBench
{
    explicit ChannelBench(std::optional<quint16> requested = {})
    {
        QObject::connect(&channel, &CommandChannel::replied, &parent,
                         [this](CommandResult result, const Reply &) { results += result; });
        QObject::connect(&channel, &CommandChannel::updateModeReplied, &parent,
                         [this](const Reply &) { ++updateModeReplies; });
        QObject::connect(&channel, &CommandChannel::deviceSent, &parent,
                         [this](const Reply &) { ++deviceFrames; });
        if (requested)
            channel.request(*requested);
    }

    QList<CommandResult> results;
    int updateModeReplies = 0;
    int deviceFrames = 0;
};

} // namespace

class TestChannel : public QObject
{
    Q_OBJECT

private slots:
    void init() { currentCommandKey = 0; }

    void resultOfAReply_data()
    {
        const tests::DataTable<quint16, QByteArray, CommandResult> rows("word", "frame", "result");
        const auto answer = CommandResult::Answer;
        const auto refusal = CommandResult::Refusal;
        const auto tooShort = CommandResult::ShortAnswer;
        const auto refused = [](quint16 word) {
            return mcu::buildStatusFrame(mcu::replyStart, {}, word, 3);
        };
        for (const auto &[word, sizes, result] :
             {std::tuple{command::readModelName, QList<int>{0, 4, 4086}, answer},
              {command::readProductId, {0}, answer},
              {command::reboot, {0}, answer},
              {command::readBootcode, {0, 1, 2, 3, 6}, tooShort},
              {command::readBootcode, {7}, answer},
              {command::readProductInformation, {0, 1, 3}, tooShort},
              {command::readProductInformation, {4}, answer},
              {command::readVersion, {0, 3}, tooShort},
              {command::readVersion, {4}, answer},
              {command::readVirtualVersion, {0}, tooShort},
              {command::readVirtualVersion, {1}, answer},
              {command::setVirtualVersion, {0, 2, 3, 7}, refusal},
              {command::writeProductInformation, {2}, tooShort},
              {command::writeProductInformation, {3}, answer}}) {
            for (const int size : sizes)
                rows(qPrintable(QString("%1, %2 bytes").arg(word, 4, 16).arg(size)), word,
                     PartBench::reply(word, QByteArray(size, '\0')), result);
        }
        rows("name refused", command::readModelName, refused(command::readModelName), refusal);
        rows("any form", command::reboot, refused(command::reboot), answer);
        const quint16 version = command::setVirtualVersion;
        rows("extended", version, refused(version), answer);
        const auto extended = [](const char *payload) {
            return PartBench::reply(command::escape, QByteArray::fromHex(payload));
        };
        rows("too long", version, extended("05790000"), refusal);
        rows("too short", version, extended("0579"), refusal);
        const quint16 write = command::writeProductInformation;
        rows("bad status", write, PartBench::reply(write, QByteArray(3, '\1')), refusal);
    }

    void resultOfAReply()
    {
        QFETCH(quint16, word);
        QFETCH(QByteArray, frame);
        QFETCH(CommandResult, result);
        ChannelBench bench(word);
        QVERIFY(bench.channel.isWaiting());
        bench.link->deliver(frame);
        QCOMPARE(bench.results, QList<CommandResult>{result});
        QVERIFY(!bench.channel.isWaiting());
    }

    void chunks_data()
    {
        const tests::DataTable<QList<QByteArray>, int> rows("chunks", "answeredBy");
        const QByteArray reply = PartBench::reply(command::readModelName, "HX-8");
        QList<QByteArray> bytes;
        for (const char byte : reply)
            bytes += QByteArray(1, byte);
        rows("in single bytes", bytes, reply.size() - 1);
        rows("other word", {PartBench::reply(command::readProductId), reply}, 1);
        rows("twice in one chunk", {reply + reply}, 0);
        rows("twice", {reply, reply}, 0);
        rows("checksum replaced", {reply.chopped(1) + "\x01\x02", reply.right(1)}, 1);
        const auto noise = [&](const char *name, const char *hex, const QByteArray &more = {}) {
            rows(name, {QByteArray::fromHex(hex) + more + reply}, 0);
        };
        noise("zeros", "", QByteArray(100, '\0'));
        noise("host's start byte", "5a5a5a5ba5");
        noise("start byte, other address", "5b00");
        noise("address cut", "5b5b00");
        noise("length 0", "5b5ba50000");
        noise("length 4", "5b5ba50400");
        noise("length FFFF", "5b5ba5ffff");
        noise("length beyond the buffer", "5b5ba5fc0f");
        noise("length 0 and many bytes after it", "5b5ba50000", QByteArray(2000, 'x'));
    }

    /** One answer, with the chunk that completes it. */
    void chunks()
    {
        QFETCH(QList<QByteArray>, chunks);
        QFETCH(int, answeredBy);
        ChannelBench bench(command::readModelName);
        for (int i = 0; i < chunks.size(); ++i) {
            bench.link->deliver(chunks.at(i));
            QCOMPARE(bench.results.count(CommandResult::Answer), i < answeredBy ? 0 : 1);
        }
        QCOMPARE(bench.results.size(), 1);
    }

    void partialFrameDoesNotOutliveItsCommand()
    {
        ChannelBench bench(command::readModelName);
        bench.link->deliver(PartBench::reply(command::readModelName, "HX-8").left(9));
        bench.channel.request(command::readProductId);
        bench.link->deliver(PartBench::reply(command::readProductId));
        QCOMPARE(bench.results.size(), 1);
    }

    void silenceEndsTheWait()
    {
        ChannelBench bench(command::readModelName);
        bench.link->deliver(PartBench::reply(command::readModelName).left(9));
        bench.channel.onTimeOut();
        QCOMPARE(bench.results, QList<CommandResult>{CommandResult::Silence});
        QVERIFY(!bench.channel.isWaiting());
    }

    void refusedProductIdWaitsOn()
    {
        ChannelBench bench(command::readProductId);
        bench.link->deliver(mcu::buildStatusFrame(mcu::replyStart, {}, command::readProductId, 3));
        QCOMPARE(bench.results, QList<CommandResult>{CommandResult::Refusal});
        QVERIFY(bench.channel.isWaiting());
    }

    void forgottenCommandHasNoReply()
    {
        ChannelBench bench(command::readModelName);
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
};

AGENT_TEST(TestChannel)

} // namespace engine::tst_channel

#include "tst_channel.moc"
