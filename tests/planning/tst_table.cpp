// SPDX-License-Identifier: Apache-2.0
#include "planning/TypeAndIndexTable.h"
#include "planning/UpgradeMode.h"
#include "planning/VirtualVersion.h"
#include "support/TestCase.h"

namespace planning::tst_table {

class TestTable : public QObject
{
    Q_OBJECT

private slots:
    void readsOutsideAreEmpty_data()
    {
        const tests::DataTable<int, int> rows("line", "index");
        rows("line -1", -1, 0);
        rows("line 99", 99, 0);
        rows("field 99", 0, 99);
        rows("field -1", 0, -1);
        rows("empty field", 0, 3);
    }

    void readsOutsideAreEmpty()
    {
        QFETCH(int, line);
        QFETCH(int, index);
        const TypeAndIndexTable table(QStringList{"MAIN,0,0,,,,,,,,,0,0"});
        QCOMPARE(table.value(line, index), QString());
        QCOMPARE(table.number(line, index), 0);
        QCOMPARE(table.value(0, 0), QString("MAIN"));
        QCOMPARE(table.value(0, 12), QString("0"));
    }

    void writesOutsideDoNothing()
    {
        TypeAndIndexTable table(QStringList{"A,1,0"});
        table.setValue(-1, 0, "x");
        table.setValue(1, 0, "x");
        table.setValue(0, -1, "x");
        table.setValue(0, 1'000'000, "x");
        QCOMPARE(table.count(), 1);
        QCOMPARE(table.row(0), QString("A,1,0"));
        TypeAndIndexTable empty;
        empty.setValue(0, 0, "x");
        empty.setAll(12, "2");
        QCOMPARE(empty.count(), 0);
    }

    void shortRowsAreFilledUp()
    {
        TypeAndIndexTable table(QStringList{"A"});
        table.setValue(0, 12, "2");
        QCOMPARE(table.row(0), QString("A,,,,,,,,,,,,2"));
        table.setValue(0, 1, "17");
        QCOMPARE(table.row(0), QString("A,17,,,,,,,,,,,2"));
    }

    void longRowsKeepTheirTail()
    {
        TypeAndIndexTable table(QStringList{"A,1,0,3,4,5,6,7,8,9,10,11,12,13,14"});
        table.setValue(0, 12, "2");
        QCOMPARE(table.row(0), QString("A,1,0,3,4,5,6,7,8,9,10,11,2,13,14"));
    }

    void setAll()
    {
        TypeAndIndexTable table(QStringList{"A,1,0,,,,,,,,,0,0", "B", ""});
        table.setAll(12, "2");
        QCOMPARE(table.row(0), QString("A,1,0,,,,,,,,,0,2"));
        QCOMPARE(table.row(1), QString("B,,,,,,,,,,,,2"));
        QCOMPARE(table.row(2), QString(",,,,,,,,,,,,2"));
    }

    void mainMcu_data()
    {
        const tests::DataTable<QString, bool, bool> rows("row", "isMain", "isFpga");
        rows("main", "X,0,0", true, false);
        rows("quantity in the index's place", "MAIN,0,1", false, false);
        rows("other", "MAIN,1,0", false, false);
        // The fields are compared as text; one without a number is not equal to 0.
        rows("two zeros", "MAIN,00,0", false, false);
        rows("no fields", "MAIN", false, false);
        rows("16", "X,16,0", false, false);
        rows("17", "X,17,0", false, true);
        rows("network module", "NET,32,0", false, true);
        rows("no number", "X,FPGA,0", false, false);
    }

    void mainMcu()
    {
        QFETCH(QString, row);
        QFETCH(bool, isMain);
        QFETCH(bool, isFpga);
        const TypeAndIndexTable table({row});
        QCOMPARE(table.isMainMcu(0), isMain);
        QCOMPARE(table.isFpga(0), isFpga);
        QVERIFY(!table.isMainMcu(1));
        QVERIFY(!table.isFpga(1));
    }

    void completesRows_data()
    {
        const tests::DataTable<QString, int, QString, int> rows("row", "mode", "completed",
                                                                "fields");

        const QString nine = QString("A,1,0,2,3,65,1,2,3");
        for (const int mode : {upgradeMode::newerOnly, upgradeMode::forced, 7}) {
            const auto name = [mode](const char *text) {
                return QString("mode %1, %2").arg(mode).arg(QLatin1String(text)).toLatin1();
            };
            rows(name("1 field").constData(), "A", mode, "A,,,,,,,,,0,0", 11);
            rows(name("2 fields").constData(), "A,1", mode, "A,1,,,,,,,,,0,0", 12);
            rows(name("3 fields").constData(), "MAIN,0,0", mode, "MAIN,0,0,,,,,,,,,0,0", 13);
            rows(name("4 fields").constData(), "A,1,0,2", mode, "A,1,0,2,,,,,,,,,0,0", 14);
            rows(name("9 fields").constData(), nine, mode, nine + ",,,,,,,,,0,0", 19);
            rows(name("empty").constData(), "", mode, "", 1);
        }
        rows("mode 1, 9 fields", nine, 1, nine + ",0,0,0,0", 13);
        rows("mode 1, 3 fields", "A,1,0", 1, "A,1,0", 3);
        rows("mode 1, 13 fields", nine + ",0,0,0,0", 1, nine + ",0,0,0,0", 13);
        rows("mode 1, empty", "", 1, "", 1);
    }

    void completesRows()
    {
        QFETCH(QString, row);
        QFETCH(int, mode);
        QFETCH(QString, completed);
        QFETCH(int, fields);
        const QStringList rows = TypeAndIndexTable::completeRows({row}, mode);
        QCOMPARE(rows, QStringList{completed});
        QCOMPARE(rows.first().split(',').size(), fields);
    }

    /** In mode 1 the first row decides for all rows. */
    void completesByTheFirstRow()
    {
        const QString nine = QString("A,1,0,2,3,65,1,2,3");
        QCOMPARE(TypeAndIndexTable::completeRows({nine, "B,2"}, 1),
                 QStringList({nine + ",0,0,0,0", "B,2,0,0,0,0"}));
        QCOMPARE(TypeAndIndexTable::completeRows({"B,2", nine}, 1), QStringList({"B,2", nine}));
        QCOMPARE(TypeAndIndexTable::completeRows({}, 1), QStringList());
        QCOMPARE(TypeAndIndexTable::completeRows({}, 2), QStringList());
    }

    void virtualVersion_data()
    {
        const tests::DataTable<QString, int> rows("release", "byte");
        rows("last part", "1.0.12", 12);
        rows("alone", "7", 7);
        rows("largest", "1.255", 255);
        rows("too large", "2.300", 0);
        rows("256", "256", 0);
        rows("zero", "1.0", 0);
        rows("negative", "1.-5", 0);
        rows("no number", "1.beta", 0);
        rows("dot at the end", "1.", 0);
        rows("empty", "", 0);
    }

    void virtualVersion()
    {
        QFETCH(QString, release);
        QFETCH(int, byte);
        QCOMPARE(int(virtualVersionByte(release)), byte);
    }
};

AGENT_TEST(TestTable)

} // namespace planning::tst_table

#include "tst_table.moc"
