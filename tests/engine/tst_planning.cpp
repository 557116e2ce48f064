// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_planning {

namespace mcu = protocol::mcu;

namespace {

const QVector<ChipDescription> mainAndAux{testChip("MAIN", 0, 0, "1.0.0"),
                                          testChip("AUX", 1, 0, "1.2.0", 2)};

} // namespace

/** Which rows get which images, and what is said of it. */
class TestPlanning : public QObject
{
    Q_OBJECT

private slots:
    void twoPartVersion()
    {
        Scenario scenario({testChip("AUX", 1, 0, "1.2")}, {testImage("AUX", 1, {1, 2, 1})});
        QVERIFY(scenario.run({"AUX,1,0"}, 2));
        QCOMPARE(scenario.with("version is"),
                 QStringList{"Read 'AUX' version success, version is V1.2"});
        QCOMPARE(scenario.with("Firmware version"),
                 QStringList{"Firmware version V1.2.1 greater than the 'AUX' version V1.2.0, will "
                             "upgrade."});
        QCOMPARE(scenario.with("UPGRADERESULT"),
                 QStringList{"UPGRADERESULT|AUX,1,0,1,1,65,1,2,,0,1,1,1|1"});
    }

    void allEqualSetsNoVirtualVersion()
    {
        Scenario scenario(mainAndAux,
                          {testImage("MAIN", 0, {1, 0, 0}), testImage("AUX", 1, {1, 2, 0}, 2)});
        QVERIFY(scenario.run({"MAIN,0,0", "AUX,1,0"}, 2));
        QCOMPARE(scenario.results(2), QString("22"));
        QCOMPARE(scenario.lines.mid(scenario.lines.size() - 6),
                 QStringList({"Send reboot command.", "Start to reboot, please wait.",
                              "Read product ID.", "Ignore to set virtual version.",
                              "All firmware upgrade done, but did not upgrade any mcu.",
                              "APPSTATUS|6"}));
        QCOMPARE(scenario.count("7905"), 0);
        QCOMPARE(scenario.device.rebootCount(), 1);
        QCOMPARE(scenario.progress.last(), 0.0);
    }

    /** An FPGA is asked for its version and nothing else. */
    void fpgaRows()
    {
        Scenario scenario({testChip("FPGA", 17, 0, "2.0"), testChip("F2", 18, 1, "2.0")},
                          {testImage("FPGA", 17, {2, 1, 0}), testImage("F2", 18, {2, 0, 0})});
        QVERIFY(scenario.run({"FPGA,17,0", "F2,18,1"}, 2));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.sentText(), QString("F903 F902 F902 7900 7901:0 7902 F802 7905"));
        QCOMPARE(scenario.with("FPGA, ignore"),
                 QStringList({"'FPGA' model is FPGA, ignore to read bootcode information.",
                              "'F2' model is FPGA, ignore to read bootcode information."}));
        QCOMPARE(scenario.with("UPGRADERESULT"),
                 QStringList({"UPGRADERESULT|FPGA,17,0,,,,2,0,,,,1,1|1",
                              "UPGRADERESULT|F2,18,1,,,,2,0,,,,0,2|3"}));
        QVERIFY(compareFlash(scenario.device.flash(17, 0), patternImage(256, 18)).equal);
    }

    /** A row made from a quantity asks for that chip index, whatever chip it means. */
    void fieldTwoIsTheChipIndex()
    {
        Scenario scenario({testChip("MAIN", 0, 0, "1.0.0"), testChip("MAIN", 0, 1, "1.0.0")},
                          {testImage("MAIN", 0, {2, 0, 0})});
        QVERIFY(scenario.run({"MAIN,0,1"}, 2));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.link->sent.at(1).toHex(), QByteArray("5a5ba50700000000f90001a5"));
        QVERIFY(scenario.with("MAIN MCU running").isEmpty());
        QVERIFY(scenario.with("restarting").isEmpty());
        QVERIFY(scenario.device.flash(0, 0).isEmpty());
        QCOMPARE(scenario.device.flash(0, 1).size(), 256);
    }

    void hundredThousandRows()
    {
        QStringList rows;
        for (int i = 0; i < 100'000; ++i)
            rows.append("X,17,1");
        Scenario scenario(mainAndAux, {testImage("AUX", 1, {9, 0, 0}, 2)});
        const QByteArray version =
            mcu::buildFrame(mcu::replyStart, {}, 0xF902, QByteArray("\x11\1\2\0", 4));
        scenario.link->answerInstead = [&](const QByteArray &frame) {
            const bool asksVersion = mcu::wordAt(frame, mcu::wordOffset) == 0xF902;
            return QList<QByteArray>{asksVersion ? version : scenario.link->deviceAnswer(frame)};
        };
        scenario.engine->slotConnect("ttyS2");
        scenario.engine->uploadByMergeFW(scenario.packagePath(), rows, 5);
        // The bootcode reads of all FPGAs are passed in one go.
        QCOMPARE(scenario.with("ignore to read bootcode").size(), 100'000);
        QVERIFY(scenario.waitForEnd(400'000));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.count("F902"), 100'000);
        QCOMPARE(scenario.with("No suitable firmware for 'X' in the firmware package.").size(),
                 100'000);
    }

    /** Items that need nothing sent are passed without a turn of the event loop between them. */
    void manyRowsThatAreSkipped()
    {
        QStringList rows;
        for (int i = 0; i < 100'000; ++i)
            rows.append("X");
        Scenario scenario(mainAndAux, {testImage("AUX", 1, {9, 0, 0}, 2)});
        QVERIFY(scenario.run(rows, 1));
        QCOMPARE(scenario.with("Invalid firmware list item(X). Check next item.").size(), 100'000);
        QCOMPARE(scenario.count("7902"), 1);
    }

    /** Such a run ends with the records of its rows, and only then reports its success. */
    void modeOneWritesProductInformation()
    {
        Scenario scenario(mainAndAux,
                          {testImage("MAIN", 0, {1, 0, 0}), testImage("AUX", 1, {1, 0, 0}, 2)});
        QVERIFY(scenario.run({"AUX,1,0,2,1,65,9,9,9", "MAIN,0,0,1,1,65,9,9,9"}, 1));
        const int reboot = scenario.lines.indexOf("Start to reboot, please wait.");
        QCOMPARE(scenario.lines.mid(reboot + 1),
                 QStringList({"Read product ID.", "Start to write Product Information.",
                              "Start to write 'AUX' product information.",
                              "Write 'AUX' product information success.",
                              "SETPIRESULT|AUX,1,0,2,1,65,9,9,9,0,0,1,1,0,0,0,0|1",
                              "Start to write 'MAIN' product information.",
                              "Write 'MAIN' product information success.",
                              "SETPIRESULT|MAIN,0,0,1,1,65,9,9,9,0,0,1,1,0,0,0,0|1",
                              "Write all product information done.", "APPSTATUS|6"}));
        QCOMPARE(scenario.sentText(), QString("7900 7901:0 7900 7901:0 F802 7902 F802 7903 7903"));
        QCOMPARE(scenario.device.violationCount(), 0);
    }

    void emptyList()
    {
        // Nothing was decided, so nothing is rebooted.
        Scenario images(mainAndAux, {});
        QVERIFY(images.run({}, 1));
        QCOMPARE(images.lines, QStringList({"ConnectSuccess|ttyS2", "Firmware file checksum ok."}));
        QVERIFY(images.link->sent.isEmpty());

        // Here the empty reads lead to an empty version check, as the reads of any list do.
        Scenario forced(mainAndAux, {});
        QVERIFY(forced.run({}, 5));
        QCOMPARE(forced.sentText(), QString("7902 F802"));
        QVERIFY(forced.succeeded());
    }

    void otherModes()
    {
        for (const int mode : {-1, 0, 3, 4, 6, 1000}) {
            Scenario scenario;
            QVERIFY(scenario.run({"AUX,1,0"}, mode));
            QCOMPARE(scenario.lines,
                     QStringList({"ConnectSuccess|ttyS2", "Firmware file checksum ok."}));
            QVERIFY(scenario.link->sent.isEmpty());
            QVERIFY(!scenario.engine->runActive());
        }
    }

    /** Names come from outside: what looks like a place in a text stays what it is. */
    void rowsWithOddTexts()
    {
        Scenario scenario(mainAndAux, {testImage("AUX", 1, {9, 0, 0}, 2)});
        QVERIFY(scenario.run({"%1%2 %7,1,0"}, 2));
        QVERIFY(scenario.succeeded());
        QVERIFY(scenario.lines.contains("Read the bootcode information of '%1%2 %7' success."));
        QVERIFY(scenario.lines.contains(QString(
            "Firmware version V9.0.0 greater than the '%1%2 %7' version V1.2.0, will upgrade.")));
        QVERIFY(scenario.lines.contains("Write firmware '%1%2 %7' success."));
    }
};

AGENT_TEST(TestPlanning)

} // namespace engine::tst_planning

#include "tst_planning.moc"
