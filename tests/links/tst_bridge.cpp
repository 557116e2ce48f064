// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/WorkerCOM.h"
#include "support/Pty.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"
#include "upload/CoreUpload.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <functional>
#include <termios.h>

namespace tst_bridge {

using engine::RunEvents;
using platform::Platform;

namespace {

/** A bridge with everything that it says. */
struct Bridge
{
    QTemporaryDir dir;
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
    }

    static Platform platformIn(const QString &folder)
    {
        Platform platform = EngineHarness::scaledPlatform(folder);
        platform.timeOuts.runGuard = EngineHarness::withShortGuard().runGuard;
        return platform;
    }

    QString path(const char *name) const { return dir.filePath(QString::fromLatin1(name)); }

    /** Waits for the end of a run and delivers nothing meanwhile. */
    bool runEndsUndelivered()
    {
        for (int i = 0; i < 10'000 && ended == 0; ++i)
            QThread::msleep(1);
        return ended > 0;
    }

    bool hears(const QStringList &expected)
    {
        waitFor([&] { return lines.size() >= expected.size(); });
        settle();
        return sameTranscript(lines, expected);
    }
};

QStringList methodsOf(const QMetaObject &meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        QStringList parameters;
        for (int p = 0; p < method.parameterCount(); ++p)
            parameters.append(QString::fromLatin1(method.parameterTypes().at(p) + ' ' +
                                                  method.parameterNames().at(p)));
        methods.append(QStringLiteral("%1 %2(%3)")
                           .arg(method.methodType() == QMetaMethod::Signal ? "signal" : "method",
                                QString::fromLatin1(method.name()),
                                parameters.join(QStringLiteral(", "))));
    }
    return methods;
}

const QStringList declared{
    "signal message(QStringList message)",
    "signal signalConnect(QString port)",
    "signal signalConnectWithBandrate(QString port, QString in_bandrate)",
    "signal signalAutoConnect(QString port)",
    "signal signalmergeFW(QString fileName, QString jsonData)",
    "signal signaluploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel)",
    "signal signalsetProductInfo(QStringList TypeAndIndex)",
    "signal signalgetProductInfo()",
    "signal signaldisconnected()",
    "signal signalGetVersion()",
    "signal signalWriteMultBoard(uchar mcuType, uchar mcuIndex, QString filename)",
    "signal progressValueChanged(double bytesSent, double bytesTotal)",
    "signal send(int CMD)",
    "signal signalConnectNet(QString IP, int port)",
    "signal netconnected()",
    "signal signalmergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM, QString "
    "newVersion)",
    "method getSerialPorts()",
    "method onConnect(QString port)",
    "method onConnectWithBandrate(QString port, QString bandrate)",
    "method autoConnect(QString port)",
    "method disconnected()",
    "method getVersion()",
    "method mergeFW(QString fileName, QString jsonData)",
    "method getMergeFWJSON(QString fileName)",
    "method uploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel)",
    "method setProductInfo(QStringList TypeAndIndex)",
    "method getProductInfo()",
    "method writeMultBoard(uchar mcuType, uchar mcuIndex, QString filename)",
    "method getPercent()",
    "method setPercent()",
    "method sendData(int CMD)",
    "method checkNetFirmware(QString fileName)",
    "method mergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM, QString newVersion)",
};

} // namespace

} // namespace tst_bridge

Q_DECLARE_METATYPE(std::function<void(tst_bridge::Bridge &)>)

namespace tst_bridge {

class TestBridge : public QObject
{
    Q_OBJECT

private slots:
    void metaObject() { QVERIFY(sameTranscript(methodsOf(WorkerCOM::staticMetaObject), declared)); }

    void connectResultsAreAlwaysFalse()
    {
        Pty pty;
        Bridge bridge;
        QVERIFY(!bridge.worker.onConnect(pty.port()));
        QVERIFY(bridge.lines.isEmpty());
        QVERIFY(bridge.hears({"ConnectSuccess|" + pty.port()}));
        bridge.lines.clear();
        QVERIFY(!bridge.worker.autoConnect(pty.port()));
        QVERIFY(!bridge.worker.onConnectWithBandrate(pty.port(), QStringLiteral("9600")));
        QVERIFY(bridge.hears({"ConnectSuccess|" + pty.port(), "ConnectSuccess|" + pty.port()}));
    }

    void failedConnect()
    {
        Bridge bridge;
        QVERIFY(!bridge.worker.onConnect(QStringLiteral("ttyNONE")));
        QVERIFY(
            bridge.hears({"Disconnect", "ttyNONE port is disconnected.", "ConnectFail",
                          "ttyNONE connect failed, serial port is occupied or does not exist"}));
    }

    void bandrateIsKept()
    {
        Pty pty;
        Bridge bridge;
        const QString success = "ConnectSuccess|" + pty.port();
        bridge.worker.onConnect(pty.port());
        QVERIFY(bridge.hears({success}));
        QCOMPARE(pty.speed(), unsigned(B57600));
        bridge.worker.onConnectWithBandrate(pty.port(), QStringLiteral("9600"));
        QVERIFY(bridge.hears({success, success}));
        QCOMPARE(pty.speed(), unsigned(B9600));
        bridge.worker.onConnect(pty.port());
        QVERIFY(bridge.hears({success, success, success}));
        QCOMPARE(pty.speed(), unsigned(B9600));
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

        bridge.lines.clear();
        bridge.worker.onConnect(pty.port());
        bridge.worker.disconnected();
        bridge.worker.getProductInfo();
        QVERIFY(bridge.hears({"ConnectSuccess|" + pty.port(), "Disconnect",
                              pty.port() + " port is disconnected.", refused}));
    }

    void directCalls()
    {
        Bridge bridge;
        QFile file(bridge.dir.filePath(QStringLiteral("FW.fwm")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 2, 3}, "image"}}));
        file.close();
        const QString json = bridge.worker.getMergeFWJSON(file.fileName());
        QVERIFY(json.startsWith(QLatin1String("{\"chips\":[")));
        QVERIFY(bridge.hears({"Firmware file checksum ok.", "Firmware package version: 6",
                              "Model Name: HX-8", "Version: 1.0.12"}));
        bridge.lines.clear();
        QVERIFY(!bridge.worker.checkNetFirmware(bridge.dir.filePath(QStringLiteral("none.bin"))));
        QVERIFY(bridge.hears({"NMF|Open Net firmware error, check fail."}));
        QCOMPARE(bridge.worker.getSerialPorts(), CoreCOMQ::listPorts());
    }

    void percent()
    {
        Bridge bridge;
        CoreUpload::m_FWPersent = 12.5;
        QCOMPARE(bridge.worker.getPercent(), 12.5);
        bridge.worker.setPercent();
        QCOMPARE(bridge.worker.getPercent(), 0.0);
    }

    void runIsActiveFromTheRequestOn()
    {
        Bridge bridge;
        QVERIFY(!bridge.worker.runActive());
        bridge.worker.uploadByMergeFW(bridge.dir.filePath(QStringLiteral("none.fwm")), {"MAIN,0,0"},
                                      2);
        QVERIFY(bridge.worker.runActive());
        QVERIFY(waitFor([&] { return !bridge.worker.runActive(); }));
        QVERIFY(waitFor([&] { return bridge.lines.contains(QStringLiteral("APPSTATUS|2")); }));
    }

    /** A client that has read the status may start the next run; before, it may not. */
    void runIsActiveUntilItsEndIsDelivered()
    {
        Bridge bridge;
        QStringList heard;
        connect(&bridge.worker, &WorkerCOM::message, this, [&](const QStringList &list) {
            heard.append(list.first() + (bridge.worker.runActive() ? " active" : " free"));
        });
        bridge.worker.uploadByMergeFW(bridge.path("none.fwm"), {"MAIN,0,0"}, 2);
        QVERIFY(bridge.runEndsUndelivered());
        QVERIFY(bridge.worker.runActive());
        QVERIFY(heard.isEmpty());
        QVERIFY(waitFor([&] { return !bridge.worker.runActive(); }));
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
        QFile file(bridge.path("FW.fwm"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 2, 3}, "image"}}));
        file.close();
        bridge.worker.uploadByMergeFW(file.fileName(), {"MAIN,0,0"}, 0);
        QVERIFY(bridge.runEndsUndelivered());
        QCOMPARE(bridge.worker.getMergeFWJSON(bridge.path("none.fwm")), error);
        QCOMPARE(bridge.lines, QStringList());
        QVERIFY(waitFor([&] { return !bridge.worker.runActive(); }));
        QCOMPARE(bridge.lines, QStringList{"Firmware file checksum ok."});
        QCOMPARE(bridge.worker.getMergeFWJSON(bridge.path("none.fwm")), error);
        QCOMPARE(bridge.lines.filter("APPSTATUS"), (QStringList{"APPSTATUS|2", "APPSTATUS|2"}));
    }

    /** Two requests at once are not the console's way, and yet the second one keeps its claim. */
    void lateEndLeavesTheNextRunClaimed()
    {
        Bridge bridge;
        bridge.worker.uploadByMergeFW(bridge.path("none.fwm"), {"MAIN,0,0"}, 2);
        QVERIFY(bridge.runEndsUndelivered());
        QSemaphore hold;
        QMetaObject::invokeMethod(
            bridge.worker.runEvents()->parent(), [&hold] { hold.acquire(); }, Qt::QueuedConnection);
        bridge.worker.uploadByMergeFW(bridge.path("none.fwm"), {"MAIN,0,0"}, 2);
        QVERIFY(waitFor([&] { return bridge.lines.size() >= 3; }));
        settle();
        QVERIFY(bridge.worker.runActive());
        hold.release();
        QVERIFY(waitFor([&] { return !bridge.worker.runActive(); }));
    }

    void everyEndGivesTheClaimBack_data()
    {
        QTest::addColumn<std::function<void(Bridge &)>>("start");
        QTest::addColumn<QString>("last");
        const auto row = [](const char *name, const char *last,
                            const std::function<void(Bridge &)> &start) {
            QTest::newRow(name) << start << QString::fromLatin1(last);
        };
        const auto upload = [](const char *package, const QStringList &rows, int mode) {
            return [=](Bridge &bridge) {
                bridge.worker.uploadByMergeFW(bridge.path(package), rows, mode);
            };
        };
        row("no package", "APPSTATUS|2", upload("none.fwm", {"MAIN,0,0"}, 2));
        row("damaged package", "APPSTATUS|2", upload("bad.fwm", {"MAIN,0,0"}, 2));
        row("no such mode", "Firmware file checksum ok.", upload("good.fwm", {"MAIN,0,0"}, 3));
        row("no rows in mode 1", "Firmware file checksum ok.", upload("good.fwm", {}, 1));
        row("silent device in mode 2", "APPSTATUS|7", upload("good.fwm", {"MAIN,0,0"}, 2));
        row("silent device in mode 5", "APPSTATUS|7", upload("good.fwm", {"MAIN,0,0"}, 5));
        row("image that is given up", "APPSTATUS|5", upload("good.fwm", {"MAIN,0,0"}, 1));
        row("read", "READPI|APPSTATUS|7", [](Bridge &bridge) { bridge.worker.getProductInfo(); });
        row("write of nothing", "", [](Bridge &bridge) { bridge.worker.setProductInfo({}); });
        row("write", "", [](Bridge &bridge) {
            bridge.worker.setProductInfo({"{}", "MAIN,0,0,1,1,65", "AUX,1,0,1,1,65"});
        });
        row("file", "APPSTATUS|5",
            [](Bridge &bridge) { bridge.worker.writeMultBoard(0, 0, bridge.path("none.bin")); });
    }

    /** Nothing that the engine may be asked for leaves the agent busy. */
    void everyEndGivesTheClaimBack()
    {
        QFETCH(std::function<void(Bridge &)>, start);
        QFETCH(QString, last);
        Pty pty;
        Bridge bridge;
        QFile good(bridge.path("good.fwm"));
        QFile bad(bridge.path("bad.fwm"));
        QVERIFY(good.open(QIODevice::WriteOnly) && bad.open(QIODevice::WriteOnly));
        const QByteArray package = makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 2, 3}, "image"}});
        good.write(package);
        bad.write(package + "x");
        good.close();
        bad.close();
        bridge.worker.onConnect(pty.port());
        QVERIFY(bridge.hears({"ConnectSuccess|" + pty.port()}));
        start(bridge);
        QVERIFY(bridge.runEndsUndelivered());
        QVERIFY(bridge.worker.runActive());
        QVERIFY(waitFor([&] { return !bridge.worker.runActive(); }));
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
        QTemporaryDir dir;
        QPointer<WorkerCOM> worker =
            new WorkerCOM(nullptr, EngineHarness::scaledPlatform(dir.path()));
        delete worker;
        QVERIFY(worker.isNull());
    }
};

AGENT_TEST(TestBridge)

} // namespace tst_bridge

#include "tst_bridge.moc"
