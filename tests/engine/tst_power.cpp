// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

#include "support/WaitFor.h"

namespace engine::tst_power {

namespace {

const QStringList rows{"MAIN,0,0", "AUX,1,0", "FPGA,17,0"};

/** Who loses power when the engine awaits the reply to one frame. */
enum class Cut {
    /** The device, for the time of that frame. */
    DeviceAtOnce,
    /** The device, for three frames. */
    DeviceForAWhile,
    /** The device, until the run is over. */
    DeviceToTheEnd,
    /** The engine: nothing that it knew is left. */
    Engine,
};

struct Fixture : Scenario
{
    Fixture()
        : Scenario({testChip("MAIN", 0, 0, "1.0.0"), testChip("AUX", 1, 0, "1.0.0", 2),
                    testChip("FPGA", 17, 0, "1.0")},
                   {testImage("MAIN", 0, {2, 0, 0}, 1, 700), testImage("AUX", 1, {2, 0, 0}, 2, 600),
                    testImage("FPGA", 17, {2, 0, 0}, 1, 512)})
    {
    }

    /** The first chip whose result is a success and whose flash is not its image. */
    QString wrongFlash() const
    {
        const struct
        {
            quint8 type;
            int size;
            int seed;
        } images[] = {{0, 700, 1}, {1, 600, 3}, {17, 512, 18}};
        for (int row = 0; row < 3; ++row) {
            const auto &image = images[row];
            if (results(3).mid(row, 1) != "1")
                continue;
            const FlashComparison found =
                compareFlash(device.flash(image.type, 0), patternImage(image.size, image.seed));
            if (!found.equal)
                return rows.at(row) + QLatin1String(": ") + found.text;
        }
        return {};
    }
};

/** The device loses its power when frame number `at` reaches it. */
void cutDevice(Fixture &fixture, int at, int frames)
{
    fixture.link->answerInstead = [&fixture, at, frames](const QByteArray &frame) {
        const int number = fixture.link->sent.size() - 1;
        if (number < at || number >= at + frames)
            return QList<QByteArray>{fixture.link->deviceAnswer(frame)};
        fixture.device.powerCycle();
        return QList<QByteArray>();
    };
}

/** Leaves the engine waiting for the reply to frame number `at`. */
bool stopEngine(Fixture &fixture, int at)
{
    fixture.link->answerInstead = [&fixture, at](const QByteArray &frame) {
        if (fixture.link->sent.size() - 1 < at)
            return QList<QByteArray>{fixture.link->deviceAnswer(frame)};
        fixture.link->deviceAnswer(frame);
        return QList<QByteArray>();
    };
    fixture.engine->slotConnect("ttyS2");
    fixture.engine->uploadByMergeFW(fixture.packagePath(), rows, 2);
    return waitFor([&] { return fixture.link->sent.size() > at; });
}

} // namespace

/** Power lost on either side, at every single frame of an upgrade. */
class TestPower : public QObject
{
    Q_OBJECT

private slots:
    void everyFrame_data()
    {
        const tests::DataTable<int, int> data("cut", "at");
        Fixture whole;
        QVERIFY(whole.run(rows, 2));
        const QStringList words = whole.sentWords();
        QVERIFY(words.size() > 20);
        const char *const names[] = {"device at once", "device for a while", "device to the end",
                                     "engine"};
        for (const Cut cut :
             {Cut::DeviceAtOnce, Cut::DeviceForAWhile, Cut::DeviceToTheEnd, Cut::Engine}) {
            for (int at = 0; at < words.size(); ++at)
                data(qPrintable(QString("%1, frame %2 (%3)")
                                    .arg(QLatin1String(names[int(cut)]))
                                    .arg(at)
                                    .arg(words.at(at))),
                     int(cut), at);
        }
    }

    void everyFrame()
    {
        QFETCH(int, cut);
        QFETCH(int, at);
        Fixture fixture;
        if (Cut(cut) == Cut::Engine) {
            QVERIFY(stopEngine(fixture, at));
            fixture.restartEngine();
        } else {
            const int frames[] = {1, 3, 1'000'000};
            cutDevice(fixture, at, frames[cut]);
            QVERIFY(fixture.run(rows, 2));
            QCOMPARE(fixture.with("APPSTATUS|").size(), 1);
            QVERIFY(fixture.engine->timersIdle());
            QCOMPARE(fixture.wrongFlash(), QString());
            // A cut of one frame costs one try; only images start again as a whole.
            if (Cut(cut) == Cut::DeviceAtOnce) {
                QVERIFY(fixture.succeeded());
                QCOMPARE(fixture.results(3), QString("111"));
            }
        }
        fixture.link->answerInstead = nullptr;
        QVERIFY(fixture.run(rows, 2));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.results(3), QString("111"));
        QCOMPARE(fixture.wrongFlash(), QString());
    }

    /** An engine can go at any moment, with frames and timers in flight. */
    void deletedInMidRun()
    {
        Fixture whole;
        QVERIFY(whole.run(rows, 2));
        for (int at = 0; at < whole.link->sent.size(); ++at) {
            Fixture fixture;
            QVERIFY(stopEngine(fixture, at));
            fixture.engine.reset();
            settle();
        }
    }
};

AGENT_TEST(TestPower)

} // namespace engine::tst_power

#include "tst_power.moc"
