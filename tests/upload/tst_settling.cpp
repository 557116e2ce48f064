// SPDX-License-Identifier: Apache-2.0
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/VirtualTime.h"
#include "upload/FakeLink.h"

#include <QtTest>

namespace tst_settling {

using platform::Pauses;
using platform::TimeOuts;

using namespace std::chrono_literals;

namespace {

constexpr auto pause = 250ms;
const QString retry1 = QStringLiteral("F/W update timeout, retry 1.");
const QString retry2 = QStringLiteral("F/W update timeout, retry 2.");
const QString failed = QStringLiteral("SingleUploadFail");
const QString success = QStringLiteral("SingleUploadSuccess");

/** An uploader with the module's own times, on a clock that the test moves. */
struct Timed : Transfer
{
    Timed() : Transfer(TimeOuts(), Pauses().afterRepeatedBlock) {}

    static void advance(std::chrono::milliseconds time) { VirtualTime::instance().advance(time); }

    /** Every block before this one is accepted at once, and this one is in flight. */
    void startAt(int block)
    {
        start(imageOf(700));
        for (int accepted = 0; accepted < block; ++accepted)
            link.deliver(blockReply());
    }

    /** The block in flight goes out once more: by its time-out, or by a refusal. */
    void repeat(bool refused)
    {
        if (refused)
            link.deliver(blockReply(3));
        else
            advance(link.sent.last().at(13) == 0 ? 15s : 30s);
    }
};

} // namespace

/** The pause after a block that went out more than once. */
class TestSettling : public QObject
{
    Q_OBJECT

public:
    TestSettling() { VirtualTime::instance(); }

private slots:
    void init()
    {
        canRead = false;
        currentCommandKey = 0;
    }

    void leftOverAnswersAreDropped_data()
    {
        QTest::addColumn<int>("block");
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QString>("blocks");
        QTest::addColumn<QString>("blocksAfter");
        for (const bool refused : {false, true}) {
            const char *const why = refused ? "refused" : "late";
            QTest::addRow("first, %s", why) << 0 << refused << "0/00 0/00"
                                            << "0/00 0/00 1/00";
            QTest::addRow("middle, %s", why) << 1 << refused << "0/00 1/00 1/00"
                                             << "0/00 1/00 1/00 2/40";
            QTest::addRow("last, %s", why) << 2 << refused << "0/00 1/00 2/40 2/40"
                                           << "0/00 1/00 2/40 2/40";
        }
    }

    /** Two sends have two answers. The second one is not credited to the next block, and no success
     *  is reported as long as it may still come. */
    void leftOverAnswersAreDropped()
    {
        QFETCH(int, block);
        QFETCH(bool, refused);
        QFETCH(QString, blocks);
        QFETCH(QString, blocksAfter);
        Timed transfer;
        transfer.startAt(block);
        transfer.repeat(refused);
        transfer.link.deliver(blockReply());
        QVERIFY(!canRead);
        transfer.advance(pause - 2ms);
        transfer.link.deliver(blockReply());
        transfer.link.deliver(blockReply(3));
        transfer.advance(1ms);
        QCOMPARE(transfer.blocks(), blocks);
        QCOMPARE(transfer.lines, QStringList{retry1});

        transfer.advance(1ms);
        QCOMPARE(transfer.blocks(), blocksAfter);
        const bool isLast = block == 2;
        QCOMPARE(transfer.lines, isLast ? QStringList({retry1, success}) : QStringList{retry1});
        // What is left of the image needs an answer for each block, and one is never given.
        for (int next = block + 1; next < 2; ++next)
            transfer.link.deliver(blockReply());
        transfer.advance(3min);
        QCOMPARE(transfer.lines.contains(success), isLast);
        QCOMPARE(transfer.lines.contains(failed), !isLast);
    }

    /** After the answer to one send, all others may still be answered. */
    void threeSends()
    {
        Timed transfer;
        transfer.startAt(1);
        transfer.repeat(false);
        transfer.link.deliver(blockReply(3));
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 1/00 1/00"));
        for (int answer = 0; answer < 3; ++answer)
            transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 1/00 1/00"));
        transfer.advance(pause);
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 1/00 1/00 2/40"));
        QCOMPARE(transfer.lines, QStringList({retry1, retry2}));
    }

    void blockThatWentOutOnce()
    {
        Timed transfer;
        transfer.startAt(2);
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/40"));
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.lines, QStringList{success});
    }

    void nextBlockHasNoPause()
    {
        Timed transfer;
        transfer.startAt(0);
        transfer.repeat(true);
        transfer.link.deliver(blockReply());
        transfer.advance(pause);
        transfer.link.deliver(blockReply());
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 1/00 2/40"));
        QCOMPARE(transfer.lines, QStringList({retry1, success}));
    }

    /** Another command may set the flag meanwhile; a block's answer is still dropped. */
    void flagOfAnotherCommand()
    {
        Timed transfer;
        transfer.startAt(2);
        transfer.repeat(true);
        transfer.link.deliver(blockReply());
        QVERIFY(!transfer.upload.awaitsAcknowledgement());
        canRead = true;
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.lines, QStringList{retry1});
        transfer.advance(pause);
        QCOMPARE(transfer.lines, QStringList({retry1, success}));
    }

    /** Its first bytes were dropped, so its last bytes are not an answer to the next block. */
    void answerThatIsHalfThere()
    {
        Timed transfer;
        transfer.startAt(0);
        transfer.repeat(true);
        transfer.link.deliver(blockReply());
        transfer.link.deliver(blockReply().left(6));
        transfer.advance(pause);
        transfer.link.deliver(blockReply().mid(6));
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 1/00"));
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 1/00 2/40"));
    }

    /** The limit of what a pause can do: the answer does not say which block it is for. */
    void answerAfterThePause()
    {
        Timed transfer;
        transfer.startAt(0);
        transfer.repeat(false);
        transfer.link.deliver(blockReply());
        transfer.advance(pause);
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 1/00 2/40"));
    }

    void resetEndsIt()
    {
        for (const int block : {1, 2}) {
            Timed transfer;
            transfer.startAt(block);
            transfer.repeat(true);
            transfer.link.deliver(blockReply());
            const int sent = transfer.link.sent.size();
            transfer.upload.reset();
            transfer.advance(3min);
            QCOMPARE(transfer.link.sent.size(), sent);
            QCOMPARE(transfer.lines, QStringList{retry1});
        }
    }

    void anotherImageEndsIt()
    {
        Timed transfer;
        transfer.startAt(1);
        transfer.repeat(true);
        transfer.link.deliver(blockReply());
        transfer.link.sent.clear();
        transfer.start(imageOf(700));
        transfer.advance(pause + 1s);
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00"));
        for (int block = 0; block < 3; ++block)
            transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/40"));
        QCOMPARE(transfer.lines, QStringList({retry1, success}));
    }

    /** The next block cannot go out then, and its own tries end the transfer. */
    void linkIsLost()
    {
        Timed transfer;
        transfer.startAt(0);
        transfer.repeat(true);
        transfer.link.deliver(blockReply());
        transfer.link.failures = 3;
        transfer.advance(pause + 3min);
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00"));
        QCOMPARE(transfer.lines, QStringList({retry1, retry1, retry2, failed}));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestSettling)

} // namespace tst_settling

#include "tst_settling.moc"
