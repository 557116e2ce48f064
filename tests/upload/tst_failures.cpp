// SPDX-License-Identifier: Apache-2.0
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"
#include "upload/FakeLink.h"

#include <QtTest>

namespace tst_failures {

using platform::TimeOuts;

namespace {

const QString retry1 = QStringLiteral("F/W update timeout, retry 1.");
const QString retry2 = QStringLiteral("F/W update timeout, retry 2.");
const QString failed = QStringLiteral("SingleUploadFail");
const QString success = QStringLiteral("SingleUploadSuccess");

} // namespace

class TestFailures : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        canRead = false;
        currentCommandKey = 0;
    }

    void everyBlockUnanswered()
    {
        Transfer transfer(Transfer::shortTimeOuts());
        transfer.start(imageOf(600));
        QVERIFY(waitFor([&] { return transfer.lines.size() == 3; }));
        QCOMPARE(transfer.lines, QStringList({retry1, retry2, failed}));
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 0/00"));
        QCOMPARE(transfer.progress.join(' '), QStringLiteral("0.00 42.50"));
    }

    void everyBlockRefused()
    {
        Transfer transfer;
        transfer.start(imageOf(600));
        for (int i = 0; i < 4; ++i)
            transfer.link.deliver(blockReply(1));
        QCOMPARE(transfer.lines, QStringList({retry1, retry2, failed}));
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 0/00"));
    }

    void retriesAreCountedForEachBlock()
    {
        Transfer transfer;
        transfer.start(imageOf(700));
        for (int block = 0; block < 3; ++block) {
            transfer.link.deliver(blockReply(3));
            transfer.link.deliver(blockReply(3));
            transfer.acknowledge();
        }
        QCOMPARE(transfer.lines,
                 QStringList({retry1, retry2, retry1, retry2, retry1, retry2, success}));
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 0/00 1/00 1/00 1/00 2/40 2/40 2/40"));
        // A repetition reports nothing.
        QCOMPARE(transfer.progress.join(' '), QStringLiteral("0.00 36.43 73.14"));
    }

    void silenceAndRefusalShareTheCount()
    {
        Transfer transfer(Transfer::shortTimeOuts());
        transfer.start(imageOf(600));
        transfer.link.deliver(blockReply(3));
        QVERIFY(waitFor([&] { return transfer.lines.size() == 2; }));
        transfer.link.deliver(blockReply(3));
        QCOMPARE(transfer.lines, QStringList({retry1, retry2, failed}));
    }

    void refusedAtEveryBlock_data()
    {
        const tests::DataTable<int> rows("block");
        rows("first", 0);
        rows("middle", 1);
        rows("last", 2);
    }

    void refusedAtEveryBlock()
    {
        QFETCH(int, block);
        Transfer transfer;
        transfer.start(imageOf(700));
        for (int accepted = 0; accepted < block; ++accepted)
            transfer.link.deliver(blockReply());
        for (int refused = 0; refused < 3; ++refused)
            transfer.link.deliver(blockReply(3));
        QCOMPARE(transfer.lines, QStringList({retry1, retry2, failed}));
        QCOMPARE(transfer.link.sent.size(), block + 3);
    }

    void blockIsRepeatedUnchanged()
    {
        Transfer transfer;
        transfer.start(imageOf(700));
        transfer.acknowledgeAll();
        const QList<QByteArray> undisturbed = transfer.link.sent;

        Transfer disturbed;
        disturbed.start(imageOf(700));
        for (int block = 0; block < 3; ++block) {
            disturbed.link.deliver(blockReply(3));
            disturbed.acknowledge();
        }
        for (int block = 0; block < 3; ++block) {
            QCOMPARE(disturbed.link.sent.at(2 * block), undisturbed.at(block));
            QCOMPARE(disturbed.link.sent.at(2 * block + 1), undisturbed.at(block));
        }
    }

    void firstSendFails()
    {
        Transfer transfer(Transfer::shortTimeOuts());
        transfer.link.failures = 1;
        transfer.start(imageOf(700));
        QVERIFY(transfer.link.sent.isEmpty());
        QVERIFY(transfer.progress.isEmpty());
        QVERIFY(waitFor([&] { return transfer.link.sent.size() == 1; }));
        transfer.acknowledgeAll();
        // Block 0 went out late, and still every block comes once and in order.
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/40"));
        QCOMPARE(transfer.lines, QStringList({retry1, success}));
        QCOMPARE(transfer.progress.join(' '), QStringLiteral("73.14"));
    }

    /** The flag of the image before must not turn the first acknowledgement into a success. */
    void firstSendFailsAfterAnEarlierImage()
    {
        Transfer transfer(Transfer::shortTimeOuts());
        transfer.start(imageOf(300));
        transfer.acknowledgeAll();
        transfer.link.sent.clear();
        transfer.lines.clear();

        transfer.link.failures = 1;
        transfer.start(imageOf(700));
        QVERIFY(waitFor([&] { return transfer.link.sent.size() == 1; }));
        transfer.acknowledgeAll();
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/40"));
        QCOMPARE(transfer.lines, QStringList({retry1, success}));
    }

    void everySendFails()
    {
        Transfer transfer(Transfer::shortTimeOuts());
        transfer.link.failures = 3;
        transfer.start(imageOf(700));
        QVERIFY(waitFor([&] { return transfer.lines.contains(failed); }));
        QCOMPARE(transfer.lines, QStringList({retry1, retry2, failed}));
        QVERIFY(transfer.link.sent.isEmpty());
    }

    void timeOutOfTheFirstBlock_data()
    {
        const tests::DataTable<bool> rows("afterAnImage");
        rows("the first image", false);
        rows("after an image", true);
    }

    /** The wait is long for the last block, and once more for the first block of the next image. */
    void timeOutOfTheFirstBlock()
    {
        QFETCH(bool, afterAnImage);
        TimeOuts timeOuts = Transfer::neverTimeOuts();
        (afterAnImage ? timeOuts.lastBlock : timeOuts.block) = std::chrono::milliseconds(5);
        Transfer transfer(timeOuts);
        if (afterAnImage) {
            transfer.start(imageOf(300));
            transfer.acknowledgeAll();
            transfer.lines.clear();
        }
        transfer.start(imageOf(700));
        QVERIFY(waitFor([&] { return transfer.lines.contains(retry1); }));
    }

    void newTransferStartsOver()
    {
        Transfer transfer;
        transfer.start(imageOf(700));
        transfer.link.deliver(blockReply());
        transfer.link.deliver(blockReply(3));
        transfer.link.deliver(blockReply(3));
        transfer.link.sent.clear();
        transfer.lines.clear();
        transfer.start(imageOf(600));
        transfer.link.deliver(blockReply(3));
        QCOMPARE(transfer.lines, QStringList{retry1});
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00"));
    }

    void resetIsQuiet()
    {
        Transfer transfer(Transfer::shortTimeOuts());
        transfer.start(imageOf(700));
        transfer.upload.reset();
        transfer.link.deliver(blockReply());
        QTimer other;
        other.setSingleShot(true);
        other.start(20);
        QVERIFY(waitFor([&] { return !other.isActive(); }));
        QVERIFY(transfer.lines.isEmpty());
        QCOMPARE(transfer.link.sent.size(), 1);
    }

    void lateReplyAfterTheVerdict()
    {
        Transfer transfer;
        transfer.start(imageOf(700));
        for (int refused = 0; refused < 3; ++refused)
            transfer.link.deliver(blockReply(3));
        canRead = true;
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), 3);
        QCOMPARE(transfer.lines.size(), 3);
    }

    void tooLongPayload()
    {
        Transfer transfer;
        const QByteArray payload(291, 'x');
        const auto *bytes = reinterpret_cast<const unsigned char *>(payload.constData());
        QVERIFY(!transfer.upload.sendCommand(0x7901, 291, bytes));
        QVERIFY(transfer.link.sent.isEmpty());
        QVERIFY(transfer.upload.sendCommand(0x7901, 290, bytes));
        QCOMPARE(transfer.link.sent.first().size(), 300);
    }

    void rawNeedsBytes()
    {
        Transfer transfer;
        const unsigned char byte = 1;
        QVERIFY(!transfer.upload.sendRaw(nullptr, 1));
        QVERIFY(!transfer.upload.sendRaw(&byte, 0));
        QVERIFY(transfer.upload.sendRaw(&byte, 1));
        transfer.link.failures = 1;
        QVERIFY(!transfer.upload.sendRaw(&byte, 1));
        // Without any link a send cannot fail.
        transfer.upload.setTransports(nullptr, nullptr);
        QVERIFY(transfer.upload.sendRaw(&byte, 1));
        QCOMPARE(transfer.link.sent.size(), 1);
    }
};

AGENT_TEST(TestFailures)

} // namespace tst_failures

#include "tst_failures.moc"
