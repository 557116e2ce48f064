// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "engine/runs/InfoRead.h"
#include "engine/runs/InfoWrite.h"
#include "planning/ProductReport.h"
#include "protocol/ProductRecord.h"
#include "support/TestCase.h"

namespace engine::tst_info {

namespace field = package::field;
namespace productReport = planning::productReport;
using protocol::ProductRecord;

namespace {

const QString heading = QString("==========product information==========\r\n");

/** A device with two key panels. */
ProductRecord mainRecord()
{
    ProductRecord record;
    record.model = "HX-8";
    record.auxChips = {{2, 2, "KEY"}};
    return record;
}

const QString description = QString(
    R"({"chips": [{"chip_type": "3", "mcus": [{"mcu_type": "2",
        "pcbs": [{"pcb_version": "1", "speciality": "A"}]}]}]})");
const QString keyRow = QString("KEY,2,0,2,1,65");
const QString otherRow = QString("KEY,2,1,2,1,65");

struct WriteBench : ReportBench
{
    explicit WriteBench(const QString &stored = description)
        : write(
              rows, output, [this](const QByteArray &payload) { sent += payload; },
              [stored] { return stored; })
    {
    }

    QList<QByteArray> sent;
    InfoWrite write;
};

QString resultOf(const QString &row, const char *result)
{
    return QString("SETPIRESULT|%1,0,0,0,0|%2").arg(row, QLatin1String(result));
}

} // namespace

/** Product-information reads and writes, with nothing of the device in them. */
class TestInfo : public QObject
{
    Q_OBJECT

private slots:
    void readStartsWithTheMainMcu()
    {
        ReportBench bench;
        bench.rows.reset({"A,1,0", "B,2,0"});
        bench.rows.advance();
        InfoRead read(bench.rows, bench.output);
        read.begin();
        QVERIFY(bench.output.isReading());
        QCOMPARE(bench.rows.all(), QStringList{"MAIN,0,0,,,,,,,,,0,0"});
        QCOMPARE(bench.rows.index(), 0);
    }

    void mainRecordNamesTheOtherRows()
    {
        ReportBench bench;
        InfoRead read(bench.rows, bench.output);
        read.begin();
        for (int i = 0; i < 2; ++i) {
            read.takeMainRecord(mainRecord());
            QCOMPARE(bench.rows.count(), 3);
            QCOMPARE(bench.rows.all().mid(1), productReport::auxRows(mainRecord()));
        }
    }

    void upgradeTakesNoRows()
    {
        ReportBench bench;
        bench.rows.reset({"MAIN,0,0"});
        InfoRead read(bench.rows, bench.output);
        read.takeMainRecord(mainRecord());
        QCOMPARE(bench.rows.all(), QStringList{"MAIN,0,0"});
        read.show();
        QCOMPARE(bench.lines.size(), 1);
        QVERIFY(!bench.lines.first().contains("HX-8"));
    }

    void reportHasEveryRow()
    {
        ReportBench bench;
        InfoRead read(bench.rows, bench.output);
        read.begin();
        read.takeMainRecord(mainRecord());
        bench.rows.setValue(1, field::ver1, "7");
        read.show();
        QStringList expected{"PISHOW", heading};
        expected += productReport::recordLines(mainRecord());
        const QStringList rows = bench.rows.all();
        for (const QString &row : rows)
            expected += productReport::rowText(row.split(','));
        QCOMPARE(bench.lines, QStringList{expected.join('|')});
    }

    void readsShareNothing()
    {
        ReportBench bench;
        InfoRead read(bench.rows, bench.output);
        for (int i = 0; i < 2; ++i) {
            read.begin();
            read.takeMainRecord(mainRecord());
            read.show();
        }
        QCOMPARE(bench.lines.size(), 2);
        QCOMPARE(bench.lines.at(0), bench.lines.at(1));
    }

    void writesThatDoNotStart_data()
    {
        const tests::DataTable<QString, QStringList, QString> rows("stored", "given", "line");
        const QString malformed = QString("Data struct error, no valid product information!");
        rows("nothing", description, {}, "Data is empty, no valid product information!");
        rows("no description", {}, QStringList{keyRow}, malformed);
        rows("no JSON", "{", QStringList{keyRow}, malformed);
        rows("short row", description, QStringList{keyRow, "KEY,2,0,2,1"}, malformed);
        rows("bad description along", description, QStringList{" {", keyRow}, malformed);
    }

    void writesThatDoNotStart()
    {
        QFETCH(QString, stored);
        QFETCH(QStringList, given);
        QFETCH(QString, line);
        WriteBench bench(stored);
        bench.write.setRows(given);
        QCOMPARE(bench.write.start(), FoundEvent(Event::InfoWritesDone));
        QCOMPARE(bench.lines, QStringList{line});
        QVERIFY(bench.sent.isEmpty());
    }

    void rowsAreWrittenInTurn()
    {
        WriteBench bench;
        bench.write.setRows({keyRow, otherRow});
        QCOMPARE(bench.write.start(), FoundEvent());
        QCOMPARE(bench.sent.size(), 1);
        QCOMPARE(bench.write.index(), 0);
        // A retry sends the same record again.
        QCOMPARE(bench.write.writeCurrent(), FoundEvent());
        QCOMPARE(bench.sent.size(), 2);
        bench.write.endCurrent(true);
        QCOMPARE(bench.write.writeCurrent(), FoundEvent());
        QCOMPARE(bench.write.index(), 1);
        bench.write.endCurrent(false);
        QCOMPARE(bench.write.writeCurrent(), FoundEvent(Event::InfoWritesDone));
        const QString start = QString("Start to write 'KEY' product information.");
        QCOMPARE(bench.lines, QStringList({"Start to write Product Information.", start, start,
                                           resultOf(keyRow, "1"), start, resultOf(otherRow, "2"),
                                           "Write all product information done."}));
        QCOMPARE(bench.sent.at(0), bench.sent.at(1));
        QCOMPARE(ProductRecord::decode(bench.sent.at(2)).chipIndex, quint8(1));
    }

    void rowsWithoutARecord_data()
    {
        const tests::DataTable<QString, QStringList> rows("row", "lines");
        const QString start = QString("Start to write 'X' product information.");
        rows("FPGA", "X,17,0,2,1,65",
             QStringList{"'X' model is FPGA, ignore to write product information."});
        rows("no such chip", "X,9,0,2,1,65",
             QStringList{start, "Data struct chips error!", resultOf("X,9,0,2,1,65", "2")});
        rows("no main chip", "X,0,0,2,1,65",
             QStringList{start, "Data struct chips error!", resultOf("X,0,0,2,1,65", "2")});
    }

    /** The walk continues with the next row at once. */
    void rowsWithoutARecord()
    {
        QFETCH(QString, row);
        QFETCH(QStringList, lines);
        WriteBench bench;
        bench.write.setRows({row, keyRow});
        QCOMPARE(bench.write.start(), FoundEvent());
        QCOMPARE(bench.write.index(), 1);
        QCOMPARE(bench.sent.size(), 1);
        QCOMPARE(bench.lines, QStringList{"Start to write Product Information."} + lines +
                                  QStringList{"Start to write 'KEY' product information."});
    }

    void descriptionComesAlong()
    {
        WriteBench bench(QString{});
        bench.write.setRows({keyRow, description});
        QCOMPARE(bench.write.start(), FoundEvent());
        QCOMPARE(bench.sent.size(), 1);
        QCOMPARE(bench.rows.all(), QStringList{keyRow + ",0,0,0,0"});
    }

    void writesStartAtTheFirstRow()
    {
        WriteBench bench;
        for (int i = 0; i < 2; ++i) {
            bench.write.setRows({keyRow});
            QCOMPARE(bench.write.start(), FoundEvent());
            bench.write.endCurrent(true);
        }
        QCOMPARE(bench.sent.size(), 2);
    }

    void payloadOfARow_data()
    {
        const tests::DataTable<QString, bool, QStringList> rows("given", "has", "lines");
        rows("record", description, true, {});
        rows("no object", "[]", false, QStringList{"Data struct error!"});
        rows("no chips", "{}", false, QStringList{"Data struct chips error!"});
    }

    void payloadOfARow()
    {
        QFETCH(QString, given);
        WriteBench bench(given);
        bench.write.setRows({keyRow});
        bench.write.start();
        bench.lines.clear();
        QTEST(!bench.write.payloadOf(0).isEmpty(), "has");
        QTEST(bench.lines, "lines");
    }
};

AGENT_TEST(TestInfo)

} // namespace engine::tst_info

#include "tst_info.moc"
