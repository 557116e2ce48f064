// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_main_mcu {

namespace {

QVector<ChipDescription> mainInBootcode(bool clears)
{
    QVector<ChipDescription> chips = bothChips;
    chips.first().bootcode = true;
    chips.first().bootcodeClears = clears;
    return chips;
}

const QStringList start{"ConnectSuccess|ttyS2", "Firmware file checksum ok.", "Read model name."};

} // namespace

/** The main MCU is the way to all others: what it says first, and when it is written first. */
class TestMainMcu : public QObject
{
    Q_OBJECT

private slots:
    void modelMismatch()
    {
        Scenario fixture;
        fixture.setPackage(makePackage(bothImages, QString("HX-9")));
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(sameTranscript(
            fixture.lines,
            start + QStringList{"Firmware Model Name is HX-9.\r\nDevice Model Name is HX-8.\r\n"
                                "Model Name does not match, upgrade fail.",
                                "APPSTATUS|7", "Erasing...",
                                "UPGRADERESULT|MAIN,0,0,,,,,,,,,0,2|2"}));
        QCOMPARE(fixture.results(2), QString("22"));
        QCOMPARE(fixture.sentText(), QString("F903"));
        // Mode 5 does not ask.
        QVERIFY(fixture.run(bothRows, 5));
        QVERIFY(fixture.succeeded());
    }

    void invalidProductInformation()
    {
        QVector<ChipDescription> chips = bothChips;
        chips.first().productInformation = false;
        Scenario fixture(chips);
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(sameTranscript(
            fixture.lines,
            start + QStringList{"Model Name match.", "Read bootcode information of 'MAIN'.",
                                "Read the bootcode information of 'MAIN' success.",
                                "MAIN MCU running in APP.",
                                "'MAIN' product information flag is invalid, exit all upgrade.",
                                "APPSTATUS|10", "Erasing...",
                                "UPGRADERESULT|MAIN,0,0,1,,,,,,0,0,0,2|2"}));
        QCOMPARE(fixture.results(2), QString("22"));
        QCOMPARE(fixture.sentText(), QString("F903 F900"));
    }

    /** Its flags are only shown, and only the main MCU goes before all others. */
    void flagsOfAnother()
    {
        QVector<ChipDescription> chips = bothChips;
        chips.last().productInformation = false;
        chips.last().bootcode = true;
        Scenario fixture(chips);
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
        QVERIFY(fixture.with("first.").isEmpty());
        QCOMPARE(fixture.results(2), QString("11"));
    }

    /** A main MCU that never leaves its bootcode is written once in a run, and the run ends. */
    void bootcodeThatStays()
    {
        Scenario fixture(mainInBootcode(false));
        for (const int mode : {2, 5}) {
            QVERIFY(fixture.run(bothRows, mode));
            QVERIFY(fixture.succeeded());
            QCOMPARE(fixture.with("start to upgrade main mcu first.").size(), 1);
            QCOMPARE(fixture.count("7901:2"), 1);
            QCOMPARE(fixture.results(2), QString("11"));
        }
    }

    /** The second row for it does not put it first again. */
    void bootcodeInTwoRows()
    {
        Scenario fixture(mainInBootcode(false));
        QVERIFY(fixture.run({"MAIN,0,0", "MAIN,0,0"}, 2));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.with("start to upgrade main mcu first.").size(), 1);
        // Its turn comes with all others, after the reads.
        QCOMPARE(fixture.with("UPGRADERESULT"),
                 QStringList({"UPGRADERESULT|MAIN,0,0,1,1,65,,,,1,1,1,1|1",
                              "UPGRADERESULT|MAIN,0,0,1,1,65,1,0,0,1,1,1,1|1"}));
    }

    void bootcodeFirstInALaterRow()
    {
        Scenario fixture(mainInBootcode(true));
        QVERIFY(fixture.run({"AUX,1,0", "MAIN,0,0"}, 5));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.sentText(),
                 QString("F900 F901 F900 F901 7900 7901:0 7901:1 7901:2 F802 F902 F902 "
                         "7900 7901:0 7901:1 7902 F802 7905"));
        QCOMPARE(fixture.results(2), QString("11"));
    }

    /** A status other than 0 in the right form: the images are in, and that counts. */
    void virtualVersionRefusedByStatus()
    {
        Scenario fixture;
        fixture.addFault("refuse:word=set-virtual-version,status=3");
        QVERIFY(fixture.run({"AUX,1,0"}, 5));
        const int at = fixture.lines.indexOf("Start to set virtual version.");
        QVERIFY(sameTranscript(fixture.lines.mid(at + 1),
                               {"Set virtual version fail.",
                                "All firmware upgrade done, but set virtual version fail.",
                                "APPSTATUS|6"}));
        QCOMPARE(fixture.engine->currentStep(), 8319);
        QVERIFY(fixture.run({"AUX,1,0"}, 5));
    }
};

AGENT_TEST(TestMainMcu)

} // namespace engine::tst_main_mcu

#include "tst_main_mcu.moc"
