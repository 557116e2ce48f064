// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/WorkerCOM.h"
#include "support/Pty.h"
#include "support/TestCase.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <QSocketNotifier>
#include <QtTest>

namespace tst_bridge_run {

using platform::Platform;
using platform::TimeOuts;

namespace {

/** The engine on a separate thread, a simulated device on a real serial port, and times that also
 *  suit a loaded machine. */
struct Fixture
{
    TestFolder dir;
    Pty pty;
    SimulatedDevice device{EngineHarness::twoMcus()};
    QSocketNotifier notifier{pty.master(), QSocketNotifier::Read};
    WorkerCOM worker{nullptr, platform(dir.path())};
    QStringList lines;

    Fixture()
    {
        dir.store("FW.fwm",
                  makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 1, 0}, patternImage(700, 1)},
                               {"AUX", 1, 1, 2, 1, 'A', {1, 0, 1}, patternImage(300, 2)}}));
        QObject::connect(&worker, &WorkerCOM::message, &worker,
                         [this](const QStringList &list) { lines.append(list.join('|')); });
        QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] {
            for (const DeviceAnswer &answer : device.receive(pty.readNow()))
                pty.write(answer.bytes);
        });
    }

    static Platform platform(const QString &dir)
    {
        Platform platform = EngineHarness::scaledPlatform(dir);
        platform.timeOuts = TimeOuts();
        platform.timeOuts.otherCommand = std::chrono::milliseconds(1000);
        return platform;
    }

    void start()
    {
        worker.onConnect(pty.port());
        worker.uploadByMergeFW(dir.path("FW.fwm"), {"MAIN,0,0", "AUX,1,0"}, 2);
    }

    bool ended() const { return lines.contains(QStringLiteral("APPSTATUS|6")); }

    /** The run's own lines, without the port's name and without those that a listing adds when it
     *  comes after the end. */
    QStringList runLines() const
    {
        static const QRegularExpression own("^(?!ConnectSuccess|Firmware file checksum ok\\.$|"
                                            "Firmware package version|Model Name: |Version: )");
        return lines.filter(own);
    }
};

} // namespace

/** The bridge, the real serial link and its device, on two threads. */
class TestBridgeRun : public QObject
{
    Q_OBJECT

private slots:
    void listingDuringARunChangesNothing()
    {
        QStringList undisturbed;
        QByteArray undisturbedFlash;
        {
            Fixture fixture; // one engine at a time: what the links share is the process's own
            fixture.start();
            QVERIFY(waitFor([&] { return fixture.ended(); }, 60'000));
            undisturbed = fixture.runLines();
            undisturbedFlash = fixture.device.flash(0, 0);
        }

        Fixture fixture;
        QStringList texts;
        QTimer lister;
        connect(&lister, &QTimer::timeout, &lister, [&] {
            texts.append(fixture.worker.getMergeFWJSON(fixture.dir.path("FW.fwm")));
            texts.append(fixture.worker.getMergeFWJSON(fixture.dir.path("none.fwm")));
            fixture.worker.getPercent();
        });
        fixture.start();
        lister.start(5);
        QVERIFY(waitFor([&] { return fixture.ended() || !fixture.worker.runActive(); }, 60'000));
        lister.stop();
        QVERIFY(waitFor([&] { return fixture.ended(); }));

        QStringList lines = fixture.runLines();
        // A listing of a missing package between the end and its report has its own status.
        lines.removeAll(QStringLiteral("APPSTATUS|2"));
        QVERIFY(sameTranscript(lines, undisturbed));
        QVERIFY(texts.size() > 20);
        texts.removeDuplicates();
        QCOMPARE(texts.size(), 2);
        QVERIFY(texts.first().startsWith(QLatin1String("{\"chips\"")));
        QCOMPARE(texts.last(), QStringLiteral("ERROR:Firmware file is not exist."));
        QCOMPARE(fixture.device.flash(0, 0), undisturbedFlash);
        QCOMPARE(fixture.device.violationCount(), 0);
    }
};

AGENT_TEST(TestBridgeRun)

} // namespace tst_bridge_run

#include "tst_bridge_run.moc"
