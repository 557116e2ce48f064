// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_runs {

namespace {

const QStringList reads{
    "Read bootcode information of 'MAIN'.",
    "Read the bootcode information of 'MAIN' success.",
    "MAIN MCU running in APP.",
    "Read the product information of 'MAIN'.",
    "Read the product information of 'MAIN'  success.",
    "Read bootcode information of 'AUX'.",
    "Read the bootcode information of 'AUX' success.",
    "Read the product information of 'AUX'.",
    "Read the product information of 'AUX'  success.",
    "Read all mcu(list) bootcode and product information done.",
    "Send 'Read FW version' command to 'MAIN'.",
    "Read 'MAIN' version success, version is V1.0.0",
    "Send 'Read FW version' command to 'AUX'.",
    "Read 'AUX' version success, version is V1.0.0",
};

const QStringList mainWritten{
    "Send 'Enter F/W Upgrade Mode' command to 'MAIN'.",
    "'MAIN' Enter 'F/W Update Mode' success.",
    "Erasing...",
    "Erase success.\r\nWriting...",
    "UPGRADERESULT|MAIN,0,0,1,1,65,1,0,0,0,1,1,1|1",
    "Write firmware 'MAIN' success.",
    "The Main MCU is restarting, please wait.",
    "Read product ID.",
    "Upgrade Main MCU success.",
};

const QStringList auxWritten{
    "Send 'Enter F/W Upgrade Mode' command to 'AUX'.",
    "'AUX' Enter 'F/W Update Mode' success.",
    "Erasing...",
    "Erase success.\r\nWriting...",
    "UPGRADERESULT|AUX,1,0,2,1,65,1,0,0,0,1,1,1|1",
    "Write firmware 'AUX' success.",
    "Write all firmware success.",
};

const QStringList goodEnd{
    "Send reboot command.",
    "Start to reboot, please wait.",
    "Read product ID.",
    "Start to set virtual version.",
    "Set virtual version success.",
    "All firmware upgrade success and systerm run success.",
    "APPSTATUS|6",
};

const QStringList start{"ConnectSuccess|ttyS2", "Firmware file checksum ok."};

} // namespace

class TestRuns : public QObject
{
    Q_OBJECT

private slots:
    void newerOnly()
    {
        Scenario harness;
        QVERIFY(harness.run(bothRows, 2));

        const QStringList newerMain{
            "Firmware version V1.1.0 greater than the 'MAIN' version V1.0.0, will upgrade."};
        const QStringList newerAux{
            "Firmware version V1.0.1 greater than the 'AUX' version V1.0.0, will upgrade."};
        QVERIFY(sameTranscript(
            harness.lines, start + QStringList{"Read model name.", "Model Name match."} + reads +
                               newerMain + mainWritten + newerAux + auxWritten + goodEnd));
        QCOMPARE(harness.sentText(),
                 QString("F903 F900 F901 F900 F901 F902 F902 7900 7901:0 7901:1 7901:2 F802 "
                         "7900 7901:0 7901:1 7902 F802 7905"));
        QCOMPARE(harness.device.flash(0, 0), patternImage(700, 1) + QByteArray(68, '\xFF'));
        QCOMPARE(harness.device.flash(1, 0), patternImage(300, 3) + QByteArray(212, '\xFF'));
        QCOMPARE(int(harness.device.virtualVersion()), 12);
        QCOMPARE(harness.device.violationCount(), 0);
        QVERIFY(harness.engine->timersIdle());
    }

    void forcedTwice()
    {
        Scenario harness;
        for (int i = 0; i < 2; ++i) {
            QVERIFY(harness.run(bothRows, 5));
            QVERIFY(
                sameTranscript(harness.lines, start + reads + mainWritten + auxWritten + goodEnd));
            // Two rows: half of each image's percentage, and the reset at the end.
            QCOMPARE(harness.progressText(), QString("0.00 18.21 36.57 50.00 92.50 0.00"));
        }
    }
};

AGENT_TEST(TestRuns)

} // namespace engine::tst_runs

#include "tst_runs.moc"
