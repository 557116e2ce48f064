// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "support/TestCase.h"

#include <atomic>
#include <thread>

namespace engine::tst_report_parts {

namespace field = package::field;

class TestReportParts : public QObject
{
    Q_OBJECT

private slots:
    void rowsKeepTheirPosition()
    {
        RunRows rows;
        rows.reset({"MAIN,0,0", "AUX,1,0"});
        rows.advance();
        QCOMPARE(rows.currentName(), QString("AUX"));
        QCOMPARE(rows.index(), 1);
        rows.setCurrent(2, "7");
        QCOMPARE(rows.value(1, 2), QString("7"));
        rows.replace({"A,0,0", "B,0,0", "C,0,0"});
        QCOMPARE(rows.currentName(), QString("B"));
        rows.append({"D,0,0"});
        QCOMPARE(rows.all(), QStringList({"A,0,0", "B,0,0", "C,0,0", "D,0,0"}));
        rows.reset({"E,0,0"});
        QCOMPARE(rows.index(), 0);
        rows.setAllFailed();
        QCOMPARE(rows.value(0, field::result), QString("2"));
    }

    void positionOutsideOfTheTable()
    {
        RunRows rows;
        QVERIFY(!rows.hasCurrent());
        QCOMPARE(rows.current(), QString());
        QCOMPARE(rows.currentName(), QString());
        rows.setCurrent(1, "5");
        rows.setValue(3, 1, "5");
        QCOMPARE(rows.count(), 0);
        rows.setIndex(-1);
        QVERIFY(!rows.hasCurrent());
    }

    /** The console's thread marks the rows while the engine's thread reads them. */
    void rowsAreMarkedAllAtOnce()
    {
        QStringList fresh;
        for (int i = 0; i < 40; ++i)
            fresh += QString("MCU%1,%1,0,,,,,,,,,0,0").arg(i);
        RunRows rows;
        rows.reset(fresh);
        std::atomic<bool> done{false};
        std::thread marker([&] {
            while (!done) {
                rows.setAllFailed();
                rows.replace(fresh);
            }
        });
        int odd = 0;
        for (int i = 0; i < 2000; ++i) {
            const QStringList all = rows.all();
            const QString first = all.first().right(1);
            for (const QString &row : all)
                odd += row.right(1) != first;
            odd += !rows.current().startsWith("MCU0,0,0,");
        }
        done = true;
        marker.join();
        QCOMPARE(odd, 0);
    }

    void mainMcuAndFpgas_data()
    {
        const tests::DataTable<QString, bool, bool> rows("row", "isMain", "isFpga");
        rows("main", "MAIN,0,0", true, false);
        rows("another index", "MAIN,0,1", false, false);
        rows("aux", "AUX,1,0", false, false);
        rows("last MCU", "AUX,16,0", false, false);
        rows("first FPGA", "FPGA,17,0", false, true);
        rows("module", "NET,32,0", false, true);
    }

    void mainMcuAndFpgas()
    {
        QFETCH(QString, row);
        RunRows rows;
        rows.reset({row});
        QTEST(rows.currentIsMainMcu(), "isMain");
        QTEST(rows.currentIsFpga(), "isFpga");
    }

    void currentMcuHasItsVersions()
    {
        RunRows rows;
        rows.reset({"AUX,1,2,3,4,5,1,2,3,0,0,0,0"});
        const RunMcu mcu = rows.currentMcu("AUX,1,2,3,4,5,6,7,8");
        QCOMPARE(mcu.name + mcu.chipType + mcu.chipIndex, QString("AUX12"));
        QCOMPARE(mcu.runs, QString("1.2.3"));
        QCOMPARE(mcu.offered, QString("6.7.8"));
        QCOMPARE(rows.currentMcu().offered, QString());
    }

    void progressOfAllRows_data()
    {
        const tests::DataTable<int, double, QList<double>> rows("row", "percent", "shown");
        rows("start", 0, 0.0, QList<double>{0.0});
        rows("half of the first", 0, 50.0, QList<double>{12.5});
        rows("end of the first", 0, 100.0, QList<double>{25.0});
        rows("half of the last", 3, 50.0, QList<double>{87.5});
        rows("the whole run is not shown", 3, 100.0, QList<double>{});
    }

    void progressOfAllRows()
    {
        QFETCH(int, row);
        QFETCH(double, percent);
        PartBench bench;
        bench.rows.reset({"A,0,0", "B,1,0", "C,2,0", "D,3,0"});
        bench.rows.setIndex(row);
        bench.progress.show(percent);
        QTEST(bench.percents, "shown");
    }

    void erasingAndWritingAreReportedOnce()
    {
        PartBench bench;
        bench.rows.reset({"A,0,0"});
        for (const double percent : {0.0, 0.0, 10.0, 20.0})
            bench.progress.show(percent);
        QCOMPARE(bench.lines, QStringList({"Erasing...", "Erase success.\r\nWriting..."}));
        bench.progress.show(0.0);
        bench.progress.restart();
        bench.progress.show(0.0);
        QCOMPARE(bench.lines.count("Erasing..."), 3);
    }

    void readKeyGoesInFront()
    {
        PartBench bench;
        bench.output.inChain("one");
        bench.output.setReading(true);
        bench.output.inChain("two");
        bench.output.inChain({"APPSTATUS", "7"});
        bench.output.say("three");
        bench.output.list({"PISHOW", "four"});
        QCOMPARE(bench.lines,
                 QStringList({"one", "READPI|two", "READPI|APPSTATUS|7", "three", "PISHOW|four"}));
    }
};

AGENT_TEST(TestReportParts)

} // namespace engine::tst_report_parts

#include "tst_report_parts.moc"
