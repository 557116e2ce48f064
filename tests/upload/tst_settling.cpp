// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "upload/FakeLink.h"

namespace tst_settling {

/** The pause after a block that was sent more than once. */
class TestSettling : public QObject
{
    Q_OBJECT

private slots:
    void conversations_data()
    {
        const tests::DataTable<QString> rows("conversation");
        // Two sends have two answers. The second one is not credited to the next block, and no
        // success is reported as long as it may still come. What is left of the image needs an
        // answer for each block, and one is never given.
        rows("first block, late",
             "start 700: 0/00 0.00% 36.43%; wait 15000: retry1 0/00; accept:; wait 248:; accept:; "
             "refuse:; wait 1:; wait 1: 1/00 73.14%; accept: 2/40; "
             "wait 90000: retry1 2/40 retry2 2/40 failed");
        rows("first block, refused",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; accept:; wait 248:; accept:; "
             "refuse:; wait 1:; wait 1: 1/00 73.14%; accept: 2/40; "
             "wait 90000: retry1 2/40 retry2 2/40 failed");
        rows("middle block, late",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; wait 15000: retry1 1/00; accept:; "
             "wait 248:; accept:; refuse:; wait 1:; wait 1: 2/40; "
             "wait 90000: retry1 2/40 retry2 2/40 failed");
        rows("middle block, refused",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; refuse: retry1 1/00; accept:; "
             "wait 248:; accept:; refuse:; wait 1:; wait 1: 2/40; "
             "wait 90000: retry1 2/40 retry2 2/40 failed");
        rows("last block, late",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; "
             "wait 30000: retry1 2/40; accept:; wait 248:; accept:; refuse:; wait 1:; "
             "wait 1: success; wait 180000:");
        rows("last block, refused",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; "
             "refuse: retry1 2/40; accept:; wait 248:; accept:; refuse:; wait 1:; "
             "wait 1: success; wait 180000:");
        // After the answer to one send, all others may still be answered.
        rows("three sends",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; wait 15000: retry1 1/00; "
             "refuse: retry2 1/00; accept:; accept:; accept:; wait 249:; wait 1: 2/40");
        rows("the next block has no pause",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; accept:; wait 250: 1/00 73.14%; "
             "accept: 2/40; accept: success");
        // Another command may set the flag meanwhile; a block's answer is still dropped.
        rows("flag of another command",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; "
             "refuse: retry1 2/40; accept:; flag:; accept:; wait 250: success");
        // Its first bytes were dropped, so its last bytes are not an answer to the next block.
        rows("half of an answer in the pause",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; accept:; head:; "
             "wait 250: 1/00 73.14%; tail:; accept: 2/40");
        // The limit of what a pause can do: the answer does not say which block it is for.
        rows("answer after the pause",
             "start 700: 0/00 0.00% 36.43%; wait 15000: retry1 0/00; accept:; "
             "wait 250: 1/00 73.14%; accept: 2/40");
        rows("reset",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; refuse: retry1 1/00; accept:; "
             "reset:; wait 180000:");
        rows("reset after the last block",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; "
             "refuse: retry1 2/40; accept:; reset:; wait 180000:");
        rows("another image",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; refuse: retry1 1/00; accept:; "
             "start 700: 0/00 0.00% 36.43%; wait 1250:; accept: 1/00 73.14%; accept: 2/40; "
             "accept: success");
        // The next block cannot be sent then, and its own tries end the transfer.
        rows("the link is lost",
             "start 700: 0/00 0.00% 36.43%; refuse: retry1 0/00; accept:; lose 3:; "
             "wait 250: 73.14%; wait 45000: retry1 retry2 failed");
    }

    void conversations()
    {
        QFETCH(QString, conversation);
        QCOMPARE(Transfer().converse(conversation), conversation);
    }

    void nothingIsAwaited()
    {
        Transfer transfer;
        transfer.converse("start 256:; refuse:");
        QVERIFY(transfer.upload.awaitsAcknowledgement() && canRead);
        transfer.converse("accept:");
        QVERIFY(!transfer.upload.awaitsAcknowledgement() && !canRead);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestSettling)

} // namespace tst_settling

#include "tst_settling.moc"
