// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_main_mcu {

namespace {

const QVector<TestImage> images{testImage("MAIN", 0, {2, 0, 0}, 1, 700),
                                testImage("AUX", 1, {2, 0, 0}, 2, 300)};
const QStringList rows{"MAIN,0,0", "AUX,1,0"};

struct Fixture : Scenario
{
    explicit Fixture(const std::function<void(ChipDescription &main)> &change = {})
        : Scenario(chips(change), images)
    {
    }

    static QVector<ChipDescription> chips(const std::function<void(ChipDescription &)> &change)
    {
        ChipDescription main = testChip("MAIN", 0, 0, "1.0.0");
        if (change)
            change(main);
        return {main, testChip("AUX", 1, 0, "1.0.0", 2)};
    }
};

const QStringList start{"ConnectSuccess|ttyS2", "Firmware file checksum ok.", "Read model name."};

} // namespace

/** The main MCU is the way to all others: what it says first, and when it is written first. */
class TestMainMcu : public QObject
{
    Q_OBJECT

private slots:
    void modelMismatch();
    void invalidProductInformation();
    void invalidInformationOfAnother();
    void bootcodeFirst_data();
    void bootcodeFirst();
    void bootcodeThatStays();
    void bootcodeInTwoRows();
    void bootcodeFirstInALaterRow();
    void bootcodeOfAnother();
    void comesBackLate();
    void neverComesBack();
    void refusesWhileItStarts();
    void systemNeverComesBack();
    void systemRefusesWhileItStarts();
    void rebootIsNotHeard();
    void virtualVersionRefusedByStatus();
    void counterOfTheModelNameIsForgotten();
};

void TestMainMcu::modelMismatch()
{
    Fixture fixture;
    fixture.setPackage(makePackage(images, QStringLiteral("HX-9")));
    QVERIFY(fixture.run(rows, 2));
    QVERIFY(sameTranscript(
        fixture.lines,
        start + QStringList{"Firmware Model Name is HX-9.\r\nDevice Model Name is HX-8.\r\n"
                            "Model Name does not match, upgrade fail.",
                            "APPSTATUS|7", "Erasing...", "UPGRADERESULT|MAIN,0,0,,,,,,,,,0,2|2"}));
    QCOMPARE(fixture.results(2), QString("22"));
    QCOMPARE(fixture.sentText(), QStringLiteral("F903"));
    // Mode 5 does not ask.
    QVERIFY(fixture.run(rows, 5));
    QVERIFY(fixture.succeeded());
}

void TestMainMcu::invalidProductInformation()
{
    Fixture fixture([](ChipDescription &main) { main.productInformation = false; });
    QVERIFY(fixture.run(rows, 2));
    QVERIFY(sameTranscript(
        fixture.lines,
        start + QStringList{
                    "Model Name match.", "Read bootcode information of 'MAIN'.",
                    "Read the bootcode information of 'MAIN' success.", "MAIN MCU running in APP.",
                    "'MAIN' product information flag is invalid, exit all upgrade.", "APPSTATUS|10",
                    "Erasing...", "UPGRADERESULT|MAIN,0,0,1,,,,,,0,0,0,2|2"}));
    QCOMPARE(fixture.results(2), QString("22"));
    QCOMPARE(fixture.sentText(), QStringLiteral("F903 F900"));
}

/** Of any other MCU the flag is only shown. */
void TestMainMcu::invalidInformationOfAnother()
{
    Scenario fixture({testChip("MAIN", 0, 0, "1.0.0"),
                      [] {
                          ChipDescription aux = testChip("AUX", 1, 0, "1.0.0", 2);
                          aux.productInformation = false;
                          return aux;
                      }()},
                     images);
    QVERIFY(fixture.run(rows, 2));
    QVERIFY(fixture.succeeded());
    QCOMPARE(fixture.results(2), QString("11"));
}

void TestMainMcu::bootcodeFirst_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("newer only") << 2;
    QTest::newRow("forced") << 5;
}

void TestMainMcu::bootcodeFirst()
{
    QFETCH(int, mode);
    Fixture fixture([](ChipDescription &main) { main.bootcode = true; });
    QVERIFY(fixture.run(rows, mode));
    const QStringList newer{
        "Firmware version V2.0.0 greater than the 'MAIN' version V0.0.0, will upgrade."};
    const QStringList newerAux{
        "Firmware version V2.0.0 greater than the 'AUX' version V1.0.0, will upgrade."};
    QVERIFY(sameTranscript(
        fixture.lines,
        (mode == 2 ? start + QStringList{"Model Name match."} : start.mid(0, 2)) +
            QStringList{"Read bootcode information of 'MAIN'.",
                        "Read the bootcode information of 'MAIN' success.",
                        "MAIN MCU running in Bootcode.", "Read the product information of 'MAIN'.",
                        "Read the product information of 'MAIN'  success.",
                        "'MAIN' product information flag is valid, start to upgrade main mcu "
                        "first."} +
            (mode == 2 ? newer : QStringList()) +
            QStringList{"Send 'Enter F/W Upgrade Mode' command to 'MAIN'.",
                        "'MAIN' Enter 'F/W Update Mode' success.", "Erasing...",
                        "Erase success.\r\nWriting...",
                        "UPGRADERESULT|MAIN,0,0,1,1,65,,,,1,1,1,1|1",
                        "Write firmware 'MAIN' success.",
                        "The Main MCU is restarting, please wait.", "Read product ID.",
                        "Upgrade Main MCU success.", "Read bootcode information of 'AUX'.",
                        "Read the bootcode information of 'AUX' success.",
                        "Read the product information of 'AUX'.",
                        "Read the product information of 'AUX'  success.",
                        "Read all mcu(list) bootcode and product information done.",
                        "Send 'Read FW version' command to 'MAIN'.",
                        "Read 'MAIN' version success, version is V1.0.0",
                        "Send 'Read FW version' command to 'AUX'.",
                        "Read 'AUX' version success, version is V1.0.0"} +
            (mode == 2 ? newerAux : QStringList()) +
            QStringList{"Send 'Enter F/W Upgrade Mode' command to 'AUX'.",
                        "'AUX' Enter 'F/W Update Mode' success.", "Erasing...",
                        "Erase success.\r\nWriting...",
                        "UPGRADERESULT|AUX,1,0,2,1,65,1,0,0,0,1,1,1|1",
                        "Write firmware 'AUX' success.", "Write all firmware success.",
                        "Send reboot command.", "Start to reboot, please wait.", "Read product ID.",
                        "Start to set virtual version.", "Set virtual version success.",
                        "All firmware upgrade success and systerm run success.", "APPSTATUS|6"}));
    QCOMPARE(fixture.device.chip(0, 0)->flash.completedImages(), 1);
    QCOMPARE(fixture.results(2), QString("11"));
}

/** A main MCU that never leaves its bootcode is written once in a run, and the run ends. */
void TestMainMcu::bootcodeThatStays()
{
    Fixture fixture([](ChipDescription &main) {
        main.bootcode = true;
        main.bootcodeClears = false;
    });
    for (const int mode : {2, 5}) {
        QVERIFY(fixture.run(rows, mode));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.with("start to upgrade main mcu first.").size(), 1);
        QCOMPARE(fixture.count("7901:2"), 1);
        QCOMPARE(fixture.results(2), QString("11"));
    }
}

/** The second row for it does not put it first again. */
void TestMainMcu::bootcodeInTwoRows()
{
    Fixture fixture([](ChipDescription &main) {
        main.bootcode = true;
        main.bootcodeClears = false;
    });
    QVERIFY(fixture.run({"MAIN,0,0", "MAIN,0,0"}, 2));
    QVERIFY(fixture.succeeded());
    QCOMPARE(fixture.with("start to upgrade main mcu first.").size(), 1);
    // Its turn comes with all others, after the reads.
    QCOMPARE(fixture.with("UPGRADERESULT"),
             QStringList({"UPGRADERESULT|MAIN,0,0,1,1,65,,,,1,1,1,1|1",
                          "UPGRADERESULT|MAIN,0,0,1,1,65,1,0,0,1,1,1,1|1"}));
}

void TestMainMcu::bootcodeFirstInALaterRow()
{
    Fixture fixture([](ChipDescription &main) { main.bootcode = true; });
    QVERIFY(fixture.run({"AUX,1,0", "MAIN,0,0"}, 5));
    QVERIFY(fixture.succeeded());
    QCOMPARE(fixture.sentText(),
             QStringLiteral("F900 F901 F900 F901 7900 7901:0 7901:1 7901:2 F802 F902 F902 "
                            "7900 7901:0 7901:1 7902 F802 7905"));
    QCOMPARE(fixture.results(2), QString("11"));
}

/** Only the main MCU goes before all others. */
void TestMainMcu::bootcodeOfAnother()
{
    ChipDescription aux = testChip("AUX", 1, 0, "1.0.0", 2);
    aux.bootcode = true;
    Scenario fixture({testChip("MAIN", 0, 0, "1.0.0"), aux}, images);
    QVERIFY(fixture.run(rows, 2));
    QVERIFY(fixture.succeeded());
    QVERIFY(fixture.with("first.").isEmpty());
    QCOMPARE(fixture.results(2), QString("11"));
}

void TestMainMcu::comesBackLate()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("silent:word=product-id,count=twice"));
    QVERIFY(fixture.run(rows, 5));
    QVERIFY(fixture.succeeded());
    QCOMPARE(fixture.with("product ID"),
             QStringList({"Read product ID.", "Read product ID fail, retry 1.",
                          "Read product ID fail, retry 2.", "Read product ID."}));
}

void TestMainMcu::neverComesBack()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("silent:word=product-id"));
    QVERIFY(fixture.run(rows, 5));
    const int at =
        fixture.lines.indexOf(QStringLiteral("The Main MCU is restarting, please wait."));
    QVERIFY(sameTranscript(fixture.lines.mid(at + 1),
                           {"Read product ID.", "Read product ID fail, retry 1.",
                            "Read product ID fail, retry 2.", "Main MCU run fail.", "APPSTATUS|5",
                            "Erasing...", "UPGRADERESULT|MAIN,0,0,1,1,65,1,0,0,0,1,1,2|2"}));
    QCOMPARE(fixture.count("F802"), 3);
    QCOMPARE(fixture.results(2), QString("22"));
    QVERIFY(fixture.device.flash(1, 0).isEmpty());
    fixture.device.faults().clear();
    QVERIFY(fixture.run(rows, 5));
    QVERIFY(fixture.succeeded());
}

/** Its refusals are the words of an MCU that still starts: the attempts keep their distance. */
void TestMainMcu::refusesWhileItStarts()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("refuse:word=product-id,count=twice"));
    QVERIFY(fixture.run(rows, 5));
    QVERIFY(fixture.succeeded());
    QCOMPARE(fixture.with("product ID"),
             QStringList({"Read product ID.", "Read product ID fail, retry 1.",
                          "Read product ID fail, retry 2.", "Read product ID."}));

    Fixture never;
    never.addFault(QStringLiteral("refuse:word=product-id"));
    QVERIFY(never.run(rows, 5));
    QVERIFY(never.lines.contains(QStringLiteral("Main MCU run fail.")));
    QCOMPARE(never.count("F802"), 3);
}

void TestMainMcu::systemNeverComesBack()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("no-return-after-reboot"));
    QVERIFY(fixture.run({"AUX,1,0"}, 5));
    const int at = fixture.lines.indexOf(QStringLiteral("Send reboot command."));
    QVERIFY(
        sameTranscript(fixture.lines.mid(at),
                       {"Send reboot command.", "Start to reboot, please wait.", "Read product ID.",
                        "Read product ID fail, retry 1.", "Read product ID fail, retry 2.",
                        "Systerm run fail.", "APPSTATUS|5", "Erasing..."}));
    // After the last row there is no row to fail: the written rows keep their results.
    QCOMPARE(fixture.results(1), QString("1"));
}

void TestMainMcu::systemRefusesWhileItStarts()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("refuse:word=product-id,count=three-times"));
    QVERIFY(fixture.run({"AUX,1,0"}, 5));
    QVERIFY(fixture.lines.contains(QStringLiteral("Systerm run fail.")));
    QCOMPARE(fixture.count("F802"), 3);
    QVERIFY(fixture.run({"AUX,1,0"}, 5));
    QVERIFY(fixture.succeeded());
}

void TestMainMcu::rebootIsNotHeard()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("silent:word=reboot"));
    QVERIFY(fixture.run({"AUX,1,0"}, 5));
    const int at = fixture.lines.indexOf(QStringLiteral("Send reboot command."));
    QVERIFY(sameTranscript(fixture.lines.mid(at),
                           {"Send reboot command.", "Reboot fail, retry 1.", "Send reboot command.",
                            "Reboot fail, retry 2.", "Send reboot command.", "Reboot systerm fail.",
                            "APPSTATUS|5", "Erasing..."}));
    QCOMPARE(fixture.count("7902"), 3);
}

/** A status other than 0 in the right form: the images are in, and that counts. */
void TestMainMcu::virtualVersionRefusedByStatus()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("refuse:word=set-virtual-version,status=3"));
    QVERIFY(fixture.run({"AUX,1,0"}, 5));
    const int at = fixture.lines.indexOf(QStringLiteral("Start to set virtual version."));
    QVERIFY(sameTranscript(fixture.lines.mid(at + 1),
                           {"Set virtual version fail.",
                            "All firmware upgrade done, but set virtual version fail.",
                            "APPSTATUS|6"}));
    QCOMPARE(fixture.engine->currentStep(), 8319);
    QVERIFY(fixture.run({"AUX,1,0"}, 5));
}

/** Each wait counts its own attempts. */
void TestMainMcu::counterOfTheModelNameIsForgotten()
{
    Fixture fixture;
    fixture.addFault(QStringLiteral("silent:word=model-name,count=twice"));
    fixture.addFault(QStringLiteral("silent:word=product-id,count=twice"));
    fixture.addFault(QStringLiteral("other-form:word=set-virtual-version,count=twice"));
    QVERIFY(fixture.run({"AUX,1,0"}, 2));
    QVERIFY(fixture.succeeded());
    QCOMPARE(
        fixture.with("retry"),
        QStringList({"Read model name fail, retry 1.", "Read model name fail, retry 2.",
                     "Read product ID fail, retry 1.", "Read product ID fail, retry 2.",
                     "Set virtual version fail, retry 1.", "Set virtual version fail, retry 2."}));
}

AGENT_TEST(TestMainMcu)

} // namespace tst_main_mcu

#include "tst_main_mcu.moc"
