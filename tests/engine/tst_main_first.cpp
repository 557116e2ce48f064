// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_main_first {

namespace {

/** Why a main MCU in its bootcode gets no image before all others. */
enum class Why { NoEntry, OtherBoard, NoRecord, TooLong, GivenUp, NotNewer };

constexpr int longImage = 700;
constexpr int shortImage = 512;
const QString mainFirst =
    QString("'MAIN' product information flag is valid, start to upgrade main mcu first.");
const QStringList others{"AUX,1,0", "OLD,17,0", "NEW,18,0"};

QVector<ChipDescription> chips()
{
    ChipDescription main = testChip("MAIN", 0, 0, "1.0.0");
    main.bootcode = true;
    return {main, testChip("AUX", 1, 0, "1.0.0", 2), testChip("OLD", 17, 0, "1.0.0"),
            testChip("NEW", 18, 0, "9.0.0")};
}

QVector<TestImage> images()
{
    return {testImage("MAIN", 0, {2, 0, 0}, 1, longImage),
            testImage("AUX", 1, {2, 0, 0}, 2, shortImage),
            testImage("OLD", 17, {2, 0, 0}, 1, shortImage),
            testImage("NEW", 18, {2, 0, 0}, 1, shortImage)};
}

/** The package and the device in which the main MCU gets nothing. */
struct Refused : Scenario
{
    explicit Refused(Why why) : Scenario(chips(), package(why))
    {
        if (why == Why::GivenUp)
            addFault("refuse:word=enter,type=0");
        if (why == Why::TooLong) {
            limits().image = longImage - 1;
            restartEngine();
        }
    }

    static QVector<TestImage> package(Why why)
    {
        QVector<TestImage> all = images();
        if (why == Why::NoEntry)
            all.removeFirst();
        else if (why == Why::OtherBoard)
            all.first().mcuType = 3;
        else if (why == Why::NoRecord)
            all.first().hasRecord = false;
        else if (why == Why::NotNewer)
            all.first().version = {0, 0, 0};
        return all;
    }
};

QStringList rowsWithMainAt(int place)
{
    QStringList rows = others;
    rows.insert(place, QString("MAIN,0,0"));
    return rows;
}

QStringList enterNineTimes()
{
    QStringList lines;
    for (int write = 1; write <= 3; ++write) {
        for (int enter = 1; enter <= 3; ++enter) {
            lines.append("Send 'Enter F/W Upgrade Mode' command to 'MAIN'.");
            lines.append(enter < 3
                             ? QString("'MAIN' Enter F/W Update Mode fail, retry %1.").arg(enter)
                             : QString("'MAIN' Enter F/W Update Mode fail."));
        }
        if (write < 3)
            lines.append(QString("'MAIN' F/W update fail, retry %1.").arg(write));
    }
    return lines;
}

/** What is said of the main MCU from its turn to the next row's. */
QStringList mainLines(Why why, int mode)
{
    const QString passedOver = QString("UPGRADERESULT|MAIN,0,0,1,1,65,,,,1,1,0,2|");
    const QString failed = QString("UPGRADERESULT|MAIN,0,0,1,1,65,,,,1,1,1,2|2");
    const QStringList newer =
        mode == 2 ? QStringList{"Firmware version V2.0.0 greater than the 'MAIN' version V0.0.0, "
                                "will upgrade."}
                  : QStringList();
    switch (why) {
    case Why::NoEntry:
        return {passedOver + '2', "No suitable firmware for 'MAIN' in the firmware package."};
    case Why::OtherBoard:
        return {passedOver + '2'};
    case Why::NoRecord:
    case Why::TooLong:
        return newer +
               QStringList{"No suitable firmware for 'MAIN' mcu in the firmware package.", failed};
    case Why::GivenUp:
        return newer + enterNineTimes() + QStringList{failed, "'MAIN' F/W Update fail."};
    case Why::NotNewer:
        return {"Firmware version V0.0.0 equal to the 'MAIN' version V0.0.0, will not upgrade.",
                passedOver + '3'};
    }
    return {};
}

} // namespace

/** A main MCU in its bootcode has its turn before all others; here it gets no image. */
class TestMainFirst : public QObject
{
    Q_OBJECT

private slots:
    void restGoesOnAsAfterASuccess_data()
    {
        QTest::addColumn<int>("why");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("place");
        const struct
        {
            Why why;
            const char *name;
            QList<int> modes;
        } cases[] = {
            {Why::NoEntry, "no image", {2, 5}},
            {Why::OtherBoard, "image for another board", {2, 5}},
            {Why::NoRecord, "image missing", {2, 5}},
            {Why::TooLong, "image too long", {2, 5}},
            {Why::GivenUp, "given up", {2, 5}},
            {Why::NotNewer, "not newer", {2}},
        };
        for (const auto &one : cases) {
            for (const int mode : one.modes) {
                for (int place = 0; place <= others.size(); ++place)
                    QTest::addRow("%s, mode %d, row %d", one.name, mode, place)
                        << int(one.why) << mode << place;
            }
        }
    }

    /** The reads of the rows after it, all versions and all images are those of a run in which the
     *  main MCU was written; only its own row differs, and has no second turn. */
    void restGoesOnAsAfterASuccess()
    {
        QFETCH(int, why);
        QFETCH(int, mode);
        QFETCH(int, place);
        const QStringList rows = rowsWithMainAt(place);

        Scenario written(chips(), images());
        QVERIFY(written.run(rows, mode));
        QVERIFY(written.succeeded());
        const int back = written.lines.indexOf("Upgrade Main MCU success.");
        const QStringList rest = written.lines.mid(back + 1);

        Refused refused{Why(why)};
        QVERIFY(refused.run(rows, mode));
        const int turn = refused.lines.indexOf(mainFirst);
        QVERIFY(turn > 0);
        QVERIFY(sameTranscript(refused.lines.mid(0, turn), written.lines.mid(0, turn)));
        QVERIFY(sameTranscript(refused.lines.mid(turn + 1), mainLines(Why(why), mode) + rest));

        // In mode 2 the FPGA that is ahead of the package keeps what it has.
        QString results = mode == 2 ? QString("112") : QString("111");
        QCOMPARE(refused.results(4), results.insert(place, '2'));
        QCOMPARE(refused.device.flash(18, 0).isEmpty(), mode == 2);
        QCOMPARE(refused.device.flash(17, 0).left(shortImage), patternImage(shortImage, 18));
        QCOMPARE(refused.device.flash(1, 0).left(shortImage), patternImage(shortImage, 3));
        QVERIFY(refused.device.flash(0, 0).isEmpty());
    }

    /** Without any other row the run reads the version, reboots, and has upgraded nothing. */
    void onlyRow()
    {
        for (const int mode : {2, 5}) {
            Refused refused(Why::NoEntry);
            QVERIFY(refused.run({"MAIN,0,0"}, mode));
            QVERIFY(refused.succeeded());
            QCOMPARE(refused.with("No suitable firmware").size(), 1);
            QCOMPARE(refused.sentText(), (mode == 2 ? QString("F903 ") : QString()) +
                                             QString("F900 F901 F902 7902 F802"));
            QCOMPARE(refused.results(1), QString("2"));
        }
    }

    /** A single file has no reads to go back to, whatever the run before it was about to do. */
    void fileAfterARunThatFailed()
    {
        Scenario fixture(chips(), images());
        fixture.addFault("silent:word=product-id");
        QVERIFY(fixture.run(rowsWithMainAt(0), 5));
        QVERIFY(fixture.lines.contains("Main MCU run fail."));

        fixture.device.faults().clear();
        fixture.addFault("refuse:word=enter,type=1");
        const QString path = fixture.packagePath() + QString(".bin");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write(patternImage(shortImage)) == shortImage);
        file.close();
        fixture.clear();
        fixture.engine->slotWriteMultBoard(1, 0, path);
        QVERIFY(fixture.waitForEnd());
        QCOMPARE(fixture.count("F900"), 0);
    }
};

AGENT_TEST(TestMainFirst)

} // namespace engine::tst_main_first

#include "tst_main_first.moc"
