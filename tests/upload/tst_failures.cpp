// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "upload/FakeLink.h"

namespace tst_failures {

class TestFailures : public QObject
{
    Q_OBJECT

private slots:
    void conversations_data()
    {
        const tests::DataTable<QString> rows("conversation");
        rows("every block unanswered",
             "start 600: 0/00 0.00% 42.50%; wait 15000: retry1 0/00; wait 15000: retry2 0/00; "
             "wait 15000: failed; wait 60000:");
        rows("every block refused",
             "start 600: 0/00 0.00% 42.50%; error: retry1 0/00; error: retry2 0/00; error: failed; "
             "error:");
        // A repetition reports no progress.
        rows("retries are counted for each block",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; refuse: retry2 0/00; accept:; "
             "wait 250: 1/00 73.14%; refuse: retry1 1/00; refuse: retry2 1/00; accept:; "
             "wait 250: 2/40; refuse: retry1 2/40; refuse: retry2 2/40; accept:; "
             "wait 250: success");
        rows("silence and refusals share the count",
             "start 600: 0/00 0.00% 42.50%; refuse: retry1 0/00; wait 15000: retry2 0/00; "
             "refuse: failed");
        rows("refused at the first block",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; refuse: retry2 0/00; "
             "refuse: failed");
        rows("refused at a block in the middle",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; refuse: retry1 1/00; "
             "refuse: retry2 1/00; refuse: failed");
        rows("refused at the last block",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; "
             "refuse: retry1 2/40; refuse: retry2 2/40; refuse: failed");
        // Block 0 is sent late, and still every block comes once and in order.
        rows("the first write fails",
             "lose 1:; start 700:; wait 15000: retry1 0/00; accept:; wait 250: 1/00 73.14%; "
             "accept: 2/40; accept: success");
        // The flag of the image before must not turn the first acknowledgement into a success.
        rows("the first write fails after an earlier image",
             "start 300: 0/00 0.00% 85.00%; accept: 1/40; accept: success; lose 1:; start 700:; "
             "wait 30000: retry1 0/00; accept:; wait 250: 1/00 73.14%; accept: 2/40; "
             "accept: success");
        rows("every write fails",
             "lose 3:; start 700:; wait 15000: retry1; wait 15000: retry2; wait 15000: failed");
        rows("time-out of the first block",
             "start 700: 0/00 0.00% 36.43%; wait 14999:; wait 1: retry1 0/00");
        // The wait is long for the last block, and once more for the first one of the next image.
        rows("time-out of the first block after an image",
             "start 300: 0/00 0.00% 85.00%; accept: 1/40; wait 29999:; accept: success; "
             "start 700: 0/00 0.00% 36.43%; wait 29999:; wait 1: retry1 0/00");
        rows("a new transfer counts from the start",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; refuse: retry1 1/00; "
             "refuse: retry2 1/00; start 600: 0/00 0.00% 42.50%; refuse: retry1 0/00");
        rows("half of an answer before the repetition",
             "start 600: 0/00 0.00% 42.50%; head:; wait 15000: retry1 0/00; tail:; "
             "wait 15000: retry2 0/00; accept:; wait 250: 1/00 85.33%");
        rows("reset", "start 700: 0/00 0.00% 36.43%; reset:; accept:; wait 60000:");
        rows("late reply after the verdict",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; refuse: retry2 0/00; "
             "refuse: failed; flag:; accept:");
    }

    void conversations()
    {
        QFETCH(QString, conversation);
        QCOMPARE(Transfer().converse(conversation), conversation);
    }

    void tooLongPayload()
    {
        Transfer transfer;
        const QByteArray payload(291, 'x');
        const auto *bytes = reinterpret_cast<const unsigned char *>(payload.constData());
        QVERIFY(!transfer.upload.sendCommand(0x7901, 291, bytes));
        QVERIFY(transfer.upload.sendCommand(0x7901, 290, bytes));
        QCOMPARE(transfer.events, QStringList{"300 bytes"});
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
        QCOMPARE(transfer.events, QStringList{"1 bytes"});
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestFailures)

} // namespace tst_failures

#include "tst_failures.moc"
