// SPDX-License-Identifier: Apache-2.0
#include "planning/ProductCommand.h"
#include "planning/ProductReport.h"
#include "support/MessageRecorder.h"
#include "support/TestCase.h"

namespace planning::tst_product {

using protocol::ProductRecord;

namespace {

const char *const mainChip = R"({"name": "MAIN", "chip_type": "1", "chip_quanity": "1", "mcus": [
    {"mcu_type": "1", "pcbs": [{"pcb_version": "9", "speciality": "Z"}]},
    {"mcu_type": "3", "pcbs": [{"pcb_version": "1", "speciality": "A"},
                               {"pcb_version": "2", "speciality": "B"},
                               {"pcb_version": "4", "speciality": "D"}]}]})";
const char *const auxChip = R"({"name": "AUX", "chip_type": "2", "chip_quanity": "2", "mcus": [
    {"mcu_type": "5", "pcbs": [{"pcb_version": "7", "speciality": "Cx"}]}]})";
const char *const fpgaChip = R"({"name": "FPGA", "chip_type": "18", "chip_quanity": "1",
    "mcus": []})";

QByteArray described(const QList<const char *> &chips)
{
    QByteArray list;
    for (const char *chip : chips)
        list += (list.isEmpty() ? "" : ", ") + QByteArray(chip);
    return R"({"model": "HX-8", "version": "1.2", "chips": [)" + list + "]}";
}

QByteArray payloadFor(const char *row, const QByteArray &description)
{
    const auto command = productCommand::build(QString::fromLatin1(row).split(','),
                                               productCommand::parse(description).document);
    return command.error == productCommand::Error::None
               ? command.payload.toHex()
               : "error " + QByteArray::number(int(command.error));
}

const QByteArray noChip = "error 2";
const QByteArray notAnObject = "error 1";
const QByteArray head = QByteArray("00").repeated(10);
const QByteArray model = "01"
                         "04"
                         "48582d38"; // 1, its length, "HX-8"

} // namespace

class TestProduct : public QObject
{
    Q_OBJECT

private slots:
    void auxiliaryMcu_data();
    void auxiliaryMcu();
    void mainMcu_data();
    void mainMcu();
    void brokenDescriptions_data();
    void brokenDescriptions();
    void reasonOfBrokenText();
    void lengthsTakeOneByte();
    void backFromARecord();
    void reportOfARow_data();
    void reportOfARow();
    void reportOfARecord();
};

void TestProduct::auxiliaryMcu_data()
{
    const tests::DataTable<QByteArray, QByteArray> rows("row", "payload");
    // Type, index, PCB version, speciality, a rest of no bytes, ten zeros.
    rows("index 0", "AUX,1,0,5,7,67", "010007430000" + head);
    rows("index 1", "AUX,1,1,5,7,67", "010107430000" + head);
    // The index is a place, no quantity, and so may be any.
    rows("index 9", "AUX,1,9,5,7,67", "010907430000" + head);
    rows("other MCU model", "AUX,1,0,6,7,67", noChip);
    rows("other PCB", "AUX,1,0,5,8,67", noChip);
    rows("other speciality", "AUX,1,0,5,7,68", noChip);
    rows("other chip", "AUX,4,0,5,7,67", noChip);
    rows("FPGA without MCUs", "FPGA,17,0,,,", noChip);
    rows("short row", "AUX,1", noChip);
}

void TestProduct::auxiliaryMcu()
{
    QFETCH(QByteArray, row);
    QFETCH(QByteArray, payload);
    QCOMPARE(payloadFor(row, described({mainChip, auxChip, fpgaChip})), payload);
}

void TestProduct::mainMcu_data()
{
    const tests::DataTable<QByteArray, QByteArray, QByteArray> rows("row", "description",
                                                                    "payload");

    const QByteArray alone = described({mainChip});
    rows("matched", "M,0,0,3,2,66", alone, "000002420600" + head + model);
    // Without a match the entry that was looked at last is taken.
    rows("no such PCB", "M,0,0,3,8,66", alone, "000004440600" + head + model);
    rows("no such speciality", "M,0,0,3,2,90", alone, "000004440600" + head + model);
    rows("no such MCU model", "M,0,0,8,2,66", alone, "000000000600" + head + model);
    // 3, count of the bytes after it, then type, quantity, name length, name.
    const QByteArray aux = "010203"
                           "415558";
    const QByteArray fpga = "110104"
                            "46504741";
    rows("one kind more", "M,0,0,3,2,66", described({mainChip, auxChip}),
         "000002420e00" + head + model + "0306" + aux);
    rows("two kinds more", "M,0,0,3,2,66", described({mainChip, auxChip, fpgaChip}),
         "000002421500" + head + model + "030d" + aux + fpga);
    // What stands before the main chip is discarded.
    rows("main chip last", "M,0,0,3,2,66", described({auxChip, mainChip}),
         "000002420600" + head + model);
    rows("main chip in the middle", "M,0,0,3,2,66", described({auxChip, mainChip, fpgaChip}),
         "000002420f00" + head + model + "0307" + fpga);
    rows("main chip twice", "M,0,0,3,2,66", described({mainChip, auxChip, mainChip}),
         "000002420600" + head + model);
    rows("no main chip", "M,0,0,3,2,66", described({auxChip}), noChip);
    // The index of a main row plays no part in its record.
    rows("index", "M,0,1,3,2,66", alone, "000002420600" + head + model);
}

void TestProduct::mainMcu()
{
    QFETCH(QByteArray, row);
    QFETCH(QByteArray, description);
    QFETCH(QByteArray, payload);
    QCOMPARE(payloadFor(row, description), payload);
}

void TestProduct::brokenDescriptions_data()
{
    const tests::DataTable<QByteArray, QByteArray> rows("description", "result");
    rows("no JSON", "{", notAnObject);
    rows("empty", {}, notAnObject);
    rows("a list", "[1, 2]", notAnObject);
    rows("no chips", "{}", noChip);
    rows("chips no list", QByteArray(R"({"chips": {"chip_type": "1"}})"), noChip);
    rows("chips no objects", QByteArray(R"({"chips": [1, "2", [], null]})"), noChip);
    rows("empty chips", QByteArray(R"({"chips": [{}, {}]})"), noChip);
    rows("number, not text", QByteArray(R"({"model": 8, "chips": [{"chip_type": {}}]})"), noChip);
}

void TestProduct::brokenDescriptions()
{
    QFETCH(QByteArray, description);
    QFETCH(QByteArray, result);
    QCOMPARE(payloadFor("M,0,0,3,2,66", description), result);
    QCOMPARE(payloadFor("A,1,0,3,2,66", description), result);
    QCOMPARE(payloadFor("", description), result);
}

/** The caller is given the reason, and nothing is logged. */
void TestProduct::reasonOfBrokenText()
{
    const MessageRecorder log("agent.engine", MessageRecorder::Debug::On);
    const productCommand::Description broken = productCommand::parse("{\"model\": ");
    QVERIFY(broken.document.isNull());
    QVERIFY(!broken.error.isEmpty());
    const productCommand::Description whole = productCommand::parse("[]");
    QVERIFY(whole.document.isArray());
    QCOMPARE(whole.error, QString());
    productCommand::build({"M", "0", "0"}, whole.document);
    QCOMPARE(MessageRecorder::take(), QStringList());
}

void TestProduct::lengthsTakeOneByte()
{
    const QByteArray name(300, 'x');
    const QByteArray description =
        R"({"model": ")" + name + R"(", "chips": [{"chip_type": "1", "mcus": []}]})";
    const QByteArray payload = QByteArray::fromHex(payloadFor("M,0,0,3,2,66", description));
    // 302 bytes after the head; the length of the model is cut to its low byte.
    QCOMPARE(payload.size(), 16 + 302);
    QCOMPARE(payload.mid(4, 2).toHex(), QByteArray("2e01"));
    QCOMPARE(payload.mid(16, 2).toHex(), QByteArray("012c"));
    QCOMPARE(payload.mid(18), name);
}

/** What is written is what a later read finds. */
void TestProduct::backFromARecord()
{
    const QByteArray payload =
        QByteArray::fromHex(payloadFor("M,0,0,3,2,66", described({mainChip, auxChip, fpgaChip})));
    const ProductRecord record = ProductRecord::decode(payload);
    QCOMPARE(record.model.value_or("none"), QByteArray("HX-8"));
    QCOMPARE(record.auxChips.size(), 2);
    QCOMPARE(productReport::auxRows(record),
             QStringList({"AUX,1,0,,,,,,,,,0,0", "AUX,1,1,,,,,,,,,0,0", "FPGA,17,0,,,,,,,,,0,0"}));
}

void TestProduct::reportOfARow_data()
{
    const tests::DataTable<QString, QString> rows("row", "report");
    rows("full", "MAIN,0,0,3,2,65,1,2,3,0,1,0,0",
         "Name:MAIN|Chip Type:0|Chip Index:0|MCU Model:3|PCB Version:02|"
         "Speciality:A|Ver1:1|Ver2:02|Ver3:03|BootCodeFlag:0|"
         "ProductInfoFlag:1|");
    rows("two-part version, two digits", "AUX,1,1,4,10,66,11,22,,1,0,0,0",
         "Name:AUX|Chip Type:1|Chip Index:1|MCU Model:4|PCB Version:10|Speciality:B|Ver1:11|"
         "Ver2:22|Ver3:|BootCodeFlag:1|ProductInfoFlag:0|");
    rows("three digits", "X,1,0,,123,,1,255,100,,,",
         "Name:X|Chip Type:1|Chip Index:0|MCU Model:|"
         "PCB Version:123|Speciality:|Ver1:1|Ver2:255|Ver3:100|"
         "BootCodeFlag:|ProductInfoFlag:|");
    rows("empty", "",
         "Name:|Chip Type:|Chip Index:|MCU Model:|PCB Version:|Speciality:|"
         "Ver1:|Ver2:|Ver3:|BootCodeFlag:|ProductInfoFlag:|");
}

void TestProduct::reportOfARow()
{
    QFETCH(QString, row);
    QFETCH(QString, report);
    QCOMPARE(productReport::rowText(row.split(',')), report.replace("|", QString("\r\n")));
}

void TestProduct::reportOfARecord()
{
    ProductRecord record;
    QVERIFY(productReport::recordLines(record).isEmpty());
    QVERIFY(productReport::auxRows(record).isEmpty());
    record.model = QByteArray("HX-8");
    record.auxChips = {{1, 2, "AUX"}, {17, 0, "FPGA"}};
    QCOMPARE(
        productReport::recordLines(record),
        QStringList({"Model Name:HX-8\r\n", "AUX MCU ChipType:1\r\n", "AUX MCU ChipQuanity:2\r\n",
                     "AUX MCU Name:AUX\r\n", "AUX MCU ChipType:17\r\n", "AUX MCU ChipQuanity:0\r\n",
                     "AUX MCU Name:FPGA\r\n"}));
    // A quantity of none gives no row.
    QCOMPARE(productReport::auxRows(record).size(), 2);
}

AGENT_TEST(TestProduct)

} // namespace planning::tst_product

#include "tst_product.moc"
