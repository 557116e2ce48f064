// SPDX-License-Identifier: Apache-2.0
#include "planning/LateAnswer.h"
#include "protocol/McuFrame.h"
#include "support/TestCase.h"

namespace planning::tst_late {

namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

const TypeAndIndexTable rows(QStringList{"MAIN,0,0,,,,,,,,,0,0", "AUX,1,0,,,,,,,,,0,0",
                                         "END,1,1,,,,,,,,,0,0", "TWIN,1,0,,,,,,,,,0,0",
                                         "FAR,2,256,,,,,,,,,0,0", "FPGA,17,0,,,,,,,,,0,0", "NAME"});
constexpr int counts = -1;

QByteArray ordinary(quint16 word, const char *payload)
{
    return mcu::buildFrame(mcu::replyStart, {}, word, QByteArray::fromHex(payload));
}

} // namespace

class TestLate : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        const tests::DataTable<QByteArray, int, int> addRow("reply", "current", "row");

        addRow("own bootcode", ordinary(0xF900, "01000100020001"), 1, counts);
        addRow("bootcode of another", ordinary(0xF900, "00000100020001"), 1, 0);
        addRow("record of another", ordinary(0xF901, "01010141"), 1, 2);
        addRow("version of another", ordinary(0xF902, "0101010203"), 1, 2);
        addRow("version of an FPGA", ordinary(0xF902, "11000301"), 2, 5);
        addRow("written record of another", ordinary(0x7903, "010100"), 1, 2);
        addRow("the main MCU waits", ordinary(0xF902, "0101010203"), 0, 2);

        addRow("two rows for one chip", ordinary(0xF902, "0100010203"), 3, counts);
        addRow("first of two rows for one chip", ordinary(0xF902, "0100010203"), 2, 1);
        addRow("index goes out as one byte", ordinary(0xF902, "0200010203"), 4, counts);
        addRow("the same, another waits", ordinary(0xF902, "0200010203"), 1, 4);
        addRow("row without numbers is asked as 0, 0", ordinary(0xF902, "0000010203"), 6, counts);

        addRow("chip of no row", ordinary(0xF902, "0900010203"), 1, counts);
        addRow("type of one row, index of another", ordinary(0xF902, "0001"), 1, counts);
        addRow("nothing but the echo", ordinary(0xF902, "0101"), 1, 2);
        addRow("half an echo", ordinary(0xF902, "00"), 1, counts);
        addRow("no data", ordinary(0xF902, ""), 1, counts);
        addRow("extended", mcu::buildStatusFrame(mcu::replyStart, {}, 0xF902, 3), 1, counts);
        // Its first bytes would be the echo of MAIN.
        addRow("model name", ordinary(0xF903, "0000"), 1, counts);
        addRow("product ID", ordinary(0xF802, "0000"), 1, counts);
    }

    void answers()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, current);
        QFETCH(int, row);
        QCOMPARE(rowOfLateAnswer(Reply(reply), rows, current), row);
    }
};

AGENT_TEST(TestLate)

} // namespace planning::tst_late

#include "tst_late.moc"
