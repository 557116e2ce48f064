// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/WorkerCOM.h"
#include "support/DeclaredMethods.h"
#include "support/Pty.h"
#include "support/TestCase.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"
#include "upload/CoreUpload.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <functional>
#include <termios.h>
#include <utility>

/** Asks for something; the folder has the packages good.fwm and bad.fwm. */
using Request = std::function<void(WorkerCOM &worker, const TestFolder &folder)>;
Q_DECLARE_METATYPE(Request)

namespace tst_bridge {

using engine::RunEvents;
using platform::Platform;

namespace {

/** A bridge with everything that it says. */
struct Bridge
{
    TestFolder dir;
    Platform platform = platformIn(dir.path());
    WorkerCOM worker{nullptr, platform};
    QStringList lines;
    /** How many runs the engine has ended, delivered or not. */
    std::atomic<int> ended{0};

    Bridge()
    {
        QObject::connect(&worker, &WorkerCOM::message, &worker,
                         [this](const QStringList &list) { lines.append(list.join('|')); });
        QObject::connect(
            worker.runEvents(), &RunEvents::over, &worker, [this](qint64) { ++ended; },
            Qt::DirectConnection);
        const QByteArray package = makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 2, 3}, "image"}});
        dir.store("good.fwm", package);
        dir.store("bad.fwm", package + "x");
    }

    static Platform platformIn(const QString &folder)
    {
        Platform platform = EngineHarness::scaledPlatform(folder);
        platform.timeOuts.runGuard = EngineHarness::withShortGuard().runGuard;
        return platform;
    }

    void upgrade(const char *package, int mode)
    {
        worker.uploadByMergeFW(dir.path(package), {"MAIN,0,0"}, mode);
    }

    /** Waits for the end of a run and delivers nothing meanwhile. */
    bool runEndsUndelivered()
    {
        for (int i = 0; i < 10'000 && ended == 0; ++i)
            QThread::msleep(1);
        return ended > 0;
    }

    bool isReleased()
    {
        return waitFor([&] { return !worker.runActive(); });
    }

    /** Compares and forgets the lines. */
    bool hears(const QStringList &expected)
    {
        waitFor([&] { return lines.size() >= expected.size(); });
        settle();
        return sameTranscript(std::exchange(lines, {}), expected);
    }
};

const QStringList declared{
    "signal message(QStringList) message",
    "signal signalConnect(QString) port",
    "signal signalConnectWithBandrate(QString,QString) port in_bandrate",
    "signal signalAutoConnect(QString) port",
    "signal signalmergeFW(QString,QString) fileName jsonData",
    "signal signaluploadByMergeFW(QString,QStringList,int) fileName TypeAndIndex upgradeModel",
    "signal signalsetProductInfo(QStringList) TypeAndIndex",
    "signal signalgetProductInfo()",
    "signal signaldisconnected()",
    "signal signalGetVersion()",
    "signal signalWriteMultBoard(uchar,uchar,QString) mcuType mcuIndex filename",
    "signal progressValueChanged(double,double) bytesSent bytesTotal",
    "signal send(int) CMD",
    "signal signalConnectNet(QString,int) IP port",
    "signal netconnected()",
    "signal signalmergeNetFirmware(QString,QString,QString,QString) fpFWM fpBIN newfpFWM "
    "newVersion",
    "slot getSerialPorts()",
    "slot onConnect(QString) port",
    "slot onConnectWithBandrate(QString,QString) port bandrate",
    "slot autoConnect(QString) port",
    "slot disconnected()",
    "slot getVersion()",
    "slot mergeFW(QString,QString) fileName jsonData",
    "slot getMergeFWJSON(QString) fileName",
    "slot uploadByMergeFW(QString,QStringList,int) fileName TypeAndIndex upgradeModel",
    "slot setProductInfo(QStringList) TypeAndIndex",
    "slot getProductInfo()",
    "slot writeMultBoard(uchar,uchar,QString) mcuType mcuIndex filename",
    "slot getPercent()",
    "slot setPercent()",
    "slot sendData(int) CMD",
    "slot checkNetFirmware(QString) fileName",
    "slot mergeNetFirmware(QString,QString,QString,QString) fpFWM fpBIN newfpFWM newVersion",
};

} // namespace

class TestBridge : public QObject
{
    Q_OBJECT

private slots:
    void metaObject()
    {
        QVERIFY(sameTranscript(declaredMethods(WorkerCOM::staticMetaObject), declared));
    }

    void connects()
    {
        Pty pty;
        Bridge bridge;
        const QString success = "ConnectSuccess|" + pty.port();
        // The results are always false: nothing has happened yet.
        QVERIFY(!bridge.worker.onConnect(pty.port()));
        QVERIFY(bridge.lines.isEmpty());
        QVERIFY(bridge.hears({success}));
        QCOMPARE(pty.speed(), unsigned(B57600));
        QVERIFY(!bridge.worker.onConnectWithBandrate(pty.port(), QStringLiteral("9600")));
        QVERIFY(bridge.hears({success}));
        QCOMPARE(pty.speed(), unsigned(B9600));
        // The baud rate is kept.
        QVERIFY(!bridge.worker.onConnect(pty.port()));
        QVERIFY(!bridge.worker.autoConnect(pty.port()));
        QVERIFY(bridge.hears({success, success}));
        QCOMPARE(pty.speed(), unsigned(B9600));
        bridge.worker.onConnect(QStringLiteral("ttyNONE"));
        QVERIFY(
            bridge.hears({"Disconnect", "ttyNONE port is disconnected.", "ConnectFail",
                          "ttyNONE connect failed, serial port is occupied or does not exist"}));
    }

    /** A command without an open port is answered by the lines of a lost link: once each. */
    void oneEngineOnly()
    {
        Bridge bridge;
        QStringList expected;
        for (int i = 0; i < 5; ++i) {
            bridge.worker.sendData(0xF903);
            expected << "Disconnect"
                     << " port is disconnected.";
        }
        QVERIFY(bridge.hears(expected));
    }

    void requestsKeepTheirOrder()
    {
        Pty pty;
        Bridge bridge;
        bridge.worker.onConnect(pty.port());
        bridge.worker.sendData(0xF903);
        bridge.worker.sendData(0xF905);
        bridge.worker.getVersion();
        bridge.worker.disconnected();
        QVERIFY(bridge.hears(
            {"ConnectSuccess|" + pty.port(), "Disconnect", pty.port() + " port is disconnected."}));
        QCOMPARE(pty.read(38).toHex(), QByteArray::fromHex("5a5ba50500000003f9a5"
                                                           "5a5ba50500000005f9a3")
                                               .toHex() +
                                           QByteArray("\r\nA00GET VER INF\r\n").toHex());
    }

    /** Without a link a read is refused, and the flag is seen before the close has run. */
    void disconnectFlagIsSetAtOnce()
    {
        Pty pty;
        Bridge bridge;
        const QString refused =
            "READPI|Please connnect serial port in 'Upgrade Firmware' page first!";
        bridge.worker.getProductInfo();
        QVERIFY(bridge.hears({refused}));

        bridge.worker.onConnect(pty.port());
        bridge.worker.disconnected();
        bridge.worker.getProductInfo();
        QVERIFY(bridge.hears({"ConnectSuccess|" + pty.port(), "Disconnect",
                              pty.port() + " port is disconnected.", refused}));
    }

    void directCalls()
    {
        Bridge bridge;
        const QString json = bridge.worker.getMergeFWJSON(bridge.dir.path("good.fwm"));
        QVERIFY(json.startsWith(QLatin1String("{\"chips\":[")));
        QVERIFY(bridge.hears({"Firmware file checksum ok.", "Firmware package version: 6",
                              "Model Name: HX-8", "Version: 1.0.12"}));
        QVERIFY(!bridge.worker.checkNetFirmware(bridge.dir.path("none.bin")));
        QVERIFY(bridge.hears({"NMF|Open Net firmware error, check fail."}));
        QCOMPARE(bridge.worker.getSerialPorts(), CoreCOMQ::listPorts());
        CoreUpload::m_FWPersent = 12.5;
        QCOMPARE(bridge.worker.getPercent(), 12.5);
        bridge.worker.setPercent();
        QCOMPARE(bridge.worker.getPercent(), 0.0);
    }

    /** A client that has read the status may start the next run; before, it may not. */
    void runIsActiveUntilItsEndIsDelivered()
    {
        Bridge bridge;
        QStringList heard;
        connect(&bridge.worker, &WorkerCOM::message, this, [&](const QStringList &list) {
            heard.append(list.first() + (bridge.worker.runActive() ? " active" : " free"));
        });
        QVERIFY(!bridge.worker.runActive());
        bridge.upgrade("none.fwm", 2);
        QVERIFY(bridge.worker.runActive());
        QVERIFY(bridge.runEndsUndelivered());
        QVERIFY(bridge.worker.runActive());
        QVERIFY(heard.isEmpty());
        QVERIFY(bridge.isReleased());
        settle();
        // The missing package is reported by its check and by the run; the second status is the
        // end.
        QCOMPARE(heard.mid(0, 3),
                 (QStringList{"APPSTATUS active", "APPSTATUS active", "UPGRADERESULT free"}));
    }

    void listIsQuietUntilTheEndIsDelivered()
    {
        const QString error = QStringLiteral("ERROR:Firmware file is not exist.");
        Bridge bridge;
        bridge.upgrade("good.fwm", 0);
        QVERIFY(bridge.runEndsUndelivered());
        QCOMPARE(bridge.worker.getMergeFWJSON(bridge.dir.path("none.fwm")), error);
        QCOMPARE(bridge.lines, QStringList());
        QVERIFY(bridge.isReleased());
        QCOMPARE(bridge.lines, QStringList{"Firmware file checksum ok."});
        QCOMPARE(bridge.worker.getMergeFWJSON(bridge.dir.path("none.fwm")), error);
        QCOMPARE(bridge.lines.filter("APPSTATUS"), (QStringList{"APPSTATUS|2", "APPSTATUS|2"}));
    }

    /** Two requests at once are not the console's way, and yet the second one keeps its claim. */
    void lateEndLeavesTheNextRunClaimed()
    {
        Bridge bridge;
        bridge.upgrade("none.fwm", 2);
        QVERIFY(bridge.runEndsUndelivered());
        QSemaphore hold;
        QMetaObject::invokeMethod(
            bridge.worker.runEvents()->parent(), [&hold] { hold.acquire(); }, Qt::QueuedConnection);
        bridge.upgrade("none.fwm", 2);
        QVERIFY(waitFor([&] { return bridge.lines.size() >= 3; }));
        settle();
        QVERIFY(bridge.worker.runActive());
        hold.release();
        QVERIFY(bridge.isReleased());
    }

    void everyEndGivesTheClaimBack_data()
    {
        const tests::DataTable<Request, QString> rows("request", "last");
        const auto upload = [](const char *package, const QStringList &mcus, int mode) {
            return [=](WorkerCOM &worker, const TestFolder &folder) {
                worker.uploadByMergeFW(folder.path(package), mcus, mode);
            };
        };
        rows("no package", upload("none.fwm", {"MAIN,0,0"}, 2), "APPSTATUS|2");
        rows("damaged package", upload("bad.fwm", {"MAIN,0,0"}, 2), "APPSTATUS|2");
        rows("no such mode", upload("good.fwm", {"MAIN,0,0"}, 3), "Firmware file checksum ok.");
        rows("no rows in mode 1", upload("good.fwm", {}, 1), "Firmware file checksum ok.");
        rows("silent device in mode 2", upload("good.fwm", {"MAIN,0,0"}, 2), "APPSTATUS|7");
        rows("silent device in mode 5", upload("good.fwm", {"MAIN,0,0"}, 5), "APPSTATUS|7");
        rows("image that is given up", upload("good.fwm", {"MAIN,0,0"}, 1), "APPSTATUS|5");
        rows(
            "read", [](WorkerCOM &worker, const TestFolder &) { worker.getProductInfo(); },
            "READPI|APPSTATUS|7");
        const auto write = [](const QStringList &mcus) {
            return [=](WorkerCOM &worker, const TestFolder &) { worker.setProductInfo(mcus); };
        };
        rows("write of nothing", write({}), "");
        rows("write", write({"{}", "MAIN,0,0,1,1,65", "AUX,1,0,1,1,65"}), "");
        rows(
            "file",
            [](WorkerCOM &worker, const TestFolder &folder) {
                worker.writeMultBoard(0, 0, folder.path("none.bin"));
            },
            "APPSTATUS|5");
    }

    /** Nothing that the engine may be asked for leaves the agent busy. */
    void everyEndGivesTheClaimBack()
    {
        QFETCH(Request, request);
        QFETCH(QString, last);
        Pty pty;
        Bridge bridge;
        bridge.worker.onConnect(pty.port());
        QVERIFY(bridge.hears({"ConnectSuccess|" + pty.port()}));
        request(bridge.worker, bridge.dir);
        QVERIFY(bridge.runEndsUndelivered());
        QVERIFY(bridge.worker.runActive());
        QVERIFY(bridge.isReleased());
        settle();
        QCOMPARE(bridge.ended.load(), 1);
        if (!last.isEmpty())
            QVERIFY2(bridge.lines.contains(last), qPrintable(bridge.lines.join('\n')));
    }

    void everythingLivesOnTheEngineThread()
    {
        QThread thread;
        auto *engine = new ControlCenter;
        engine->moveToThread(&thread);
        QVERIFY(engine->findChild<CoreCOMQ *>() != nullptr);
        QVERIFY(engine->findChild<CoreUpload *>() != nullptr);
        QVERIFY(engine->findChild<QSerialPort *>() != nullptr);
        QCOMPARE(engine->findChildren<QTimer *>().size(), 5);

        QSignalSpy destroyed(engine, &QObject::destroyed);
        thread.start();
        // Made on demand, on the engine's own thread.
        QMetaObject::invokeMethod(
            engine, [=] { engine->connectNet(QStringLiteral("127.0.0.1"), 1); },
            Qt::BlockingQueuedConnection);
        QVERIFY(engine->findChild<CoreTelnet *>() != nullptr);
        const auto children = engine->findChildren<QObject *>();
        for (const QObject *child : children)
            QCOMPARE(child->thread(), &thread);
        // What the engine leaves to be deleted later needs the thread a little longer.
        QObject last;
        last.moveToThread(&thread);
        engine->deleteLater();
        QVERIFY(waitFor([&] { return destroyed.count() == 1; }));
        QMetaObject::invokeMethod(
            &last, [&] { last.moveToThread(qApp->thread()); }, Qt::BlockingQueuedConnection);
        thread.quit();
        QVERIFY(thread.wait(20'000));
    }

    void endsItsThread()
    {
        TestFolder dir;
        const WorkerCOM worker(nullptr, EngineHarness::scaledPlatform(dir.path()));
    }
};

AGENT_TEST(TestBridge)

} // namespace tst_bridge

#include "tst_bridge.moc"
