// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace tst_link {

using platform::TimeOuts;

namespace {

const QStringList rows{"MAIN,0,0", "AUX,1,0"};
const QStringList refusedRead{
    "READPI|Please connnect serial port in 'Upgrade Firmware' page first!"};

QByteArray twoImages()
{
    return makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 1, 0}, patternImage(700, 1)},
                        {"AUX", 1, 1, 2, 1, 'A', {1, 0, 1}, patternImage(300, 2)}});
}

/** A simulated device with a network port of its own. */
class NetworkDevice : public QObject
{
public:
    NetworkDevice() : device(EngineHarness::twoMcus())
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("cannot listen");
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            socket = m_server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this] { answer(); });
        });
    }

    int port() const { return m_server.serverPort(); }

    SimulatedDevice device;
    QTcpSocket *socket = nullptr;
    /** Closes the connection when this many frames have come; -1 never. */
    int closeAfter = -1;

private:
    void answer()
    {
        const auto answers = device.receive(socket->readAll());
        if (closeAfter >= 0 && ++m_frames > closeAfter) {
            socket->abort();
            return;
        }
        for (const DeviceAnswer &answer : answers)
            socket->write(answer.bytes);
    }

    QTcpServer m_server;
    int m_frames = 0;
};

/** Real sockets need real time. */
TimeOuts patient()
{
    TimeOuts timeOuts;
    timeOuts.otherCommand = std::chrono::milliseconds(600);
    return timeOuts;
}

struct World : EngineHarness
{
    explicit World(const std::optional<TimeOuts> &timeOuts = std::nullopt)
        : EngineHarness(twoMcus(), std::nullopt, timeOuts)
    {
        setPackage(twoImages());
    }

    bool connectTo(NetworkDevice &device)
    {
        QSignalSpy connected(engine.get(), &ControlCenter::netconnected);
        engine->connectNet(QStringLiteral("127.0.0.1"), device.port());
        return waitFor([&] { return connected.count() == 1 && device.socket != nullptr; });
    }
};

} // namespace

class TestLink : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void opens();
    void openFails();
    void opensTwice();
    void bandrateStays();
    void closes();
    void runWithoutAPort();
    void portGoesInMidRun();
    void readNeedsALink();
    void readNeedsAnOpenPort();
    void readOverTheNetwork();
    void upgradeOverTheNetwork();
    void serialLinkComesBack();
    void serialConnectOvertakesTheNetwork();
    void peerClosesInMidRun();
    void networkFailureHasItsOwnWords();
    void networkAtConstruction();
};

void TestLink::cleanup()
{
    g_CONNECTTYPE = links::serial;
}

void TestLink::opens()
{
    World world;
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    QCOMPARE(world.lines, QStringList{"ConnectSuccess|ttyS2"});
    QCOMPARE(world.link->openedWith, QStringLiteral("ttyS2 57600 8 1 NoParity"));
    world.engine->slotAutoConnect(QStringLiteral("ttyS3"));
    QCOMPARE(world.lines.last(), QStringLiteral("ConnectSuccess|ttyS3"));
    QCOMPARE(world.link->openedWith, QStringLiteral("ttyS3 57600 8 1 NoParity"));
}

void TestLink::openFails()
{
    World world;
    world.link->unplug();
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    QCOMPARE(world.lines,
             QStringList({"Disconnect", "ttyS2 port is disconnected.", "ConnectFail",
                          "ttyS2 connect failed, serial port is occupied or does not exist"}));
    QVERIFY(!world.link->isOpen());
}

void TestLink::opensTwice()
{
    World world;
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    QCOMPARE(world.lines, QStringList({"ConnectSuccess|ttyS2", "ConnectSuccess|ttyS2"}));
}

void TestLink::bandrateStays()
{
    World world;
    world.engine->slotConnectWithBandrate(QStringLiteral("ttyS2"), QStringLiteral("115200"));
    QCOMPARE(world.link->openedWith, QStringLiteral("ttyS2 115200 8 1 NoParity"));
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    QCOMPARE(world.link->openedWith, QStringLiteral("ttyS2 115200 8 1 NoParity"));
}

void TestLink::closes()
{
    World world;
    world.engine->disconnected();
    // Without a port there is no name.
    QCOMPARE(world.lines, QStringList({"Disconnect", " port is disconnected."}));
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    world.clear();
    world.engine->disconnected();
    QCOMPARE(world.lines, QStringList({"Disconnect", "ttyS2 port is disconnected."}));
    QVERIFY(!world.link->isOpen());
}

/** The run is not told of the failed open; it goes its way and ends by its time-outs. */
void TestLink::runWithoutAPort()
{
    World world;
    world.link->unplug();
    QVERIFY(world.run(rows, 2));
    const QStringList lost{"Disconnect", "ttyS2 port is disconnected."};
    QVERIFY(sameTranscript(
        world.lines,
        lost +
            QStringList{"ConnectFail",
                        "ttyS2 connect failed, serial port is occupied or does not exist",
                        "Firmware file checksum ok.", "Read model name."} +
            lost + QStringList{"Read model name fail, retry 1."} + lost +
            QStringList{"Read model name fail, retry 2."} + lost +
            QStringList{"Read model name fail, upgrade fail, exit.", "APPSTATUS|7", "Erasing...",
                        "UPGRADERESULT|MAIN,0,0,,,,,,,,,0,2|2"}));
    QVERIFY(world.link->sent.isEmpty());
    world.link->plugIn();
    QVERIFY(world.run(rows, 2));
    QCOMPARE(world.lines.last(), QStringLiteral("APPSTATUS|6"));
}

void TestLink::portGoesInMidRun()
{
    World whole;
    QVERIFY(whole.run(rows, 2));
    const int frames = whole.link->sent.size();
    for (int at = 0; at < frames; ++at) {
        World world;
        world.link->failWrite = [&, at](const QByteArray &) {
            const bool gone = world.link->sent.size() == at;
            if (gone)
                world.link->unplug();
            return gone;
        };
        QVERIFY(world.run(rows, 2));
        QVERIFY(world.lines.filter(QStringLiteral("APPSTATUS|")).size() == 1);
        QVERIFY(!world.lines.contains(QStringLiteral("APPSTATUS|6")));
        QVERIFY(world.engine->timersIdle());

        world.link->failWrite = nullptr;
        world.link->plugIn();
        QVERIFY(world.run(rows, 2));
        QCOMPARE(world.lines.last(), QStringLiteral("APPSTATUS|6"));
    }
}

void TestLink::readNeedsALink()
{
    World world;
    world.engine->getProductInfo();
    QCOMPARE(world.lines, refusedRead);
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    // Told from another thread to close, before the request itself arrives.
    world.engine->requestDisconnect();
    world.clear();
    world.engine->getProductInfo();
    QCOMPARE(world.lines, refusedRead);
    QVERIFY(world.link->sent.isEmpty());
}

/** The port was pulled and nothing has been sent since. */
void TestLink::readNeedsAnOpenPort()
{
    World world;
    world.engine->slotConnect(QStringLiteral("ttyS2"));
    world.link->unplug();
    world.clear();
    world.engine->getProductInfo();
    QCOMPARE(world.lines, refusedRead);
    QVERIFY(world.link->sent.isEmpty());
}

void TestLink::readOverTheNetwork()
{
    NetworkDevice device;
    World world(patient());
    QVERIFY(world.connectTo(device));
    world.engine->getProductInfo();
    QVERIFY(world.waitForEnd());
    QVERIFY(world.lines.last().startsWith(QLatin1String("PISHOW|")));
    device.socket->abort();
    QSignalSpy gone(world.engine.get(), &ControlCenter::netdisconnected);
    QVERIFY(waitFor([&] { return gone.count() == 1; }));
    world.clear();
    world.engine->getProductInfo();
    QCOMPARE(world.lines, refusedRead);
}

void TestLink::upgradeOverTheNetwork()
{
    World serial;
    QVERIFY(serial.run(rows, 2));
    QStringList expected = serial.lines;
    expected.removeFirst(); // ConnectSuccess

    NetworkDevice device;
    World world(patient());
    QVERIFY(world.connectTo(device));
    world.engine->uploadByMergeFW(world.packagePath(), rows, 2);
    QVERIFY(world.waitForEnd());
    QVERIFY(sameTranscript(world.lines, expected));
    QVERIFY(world.link->sent.isEmpty());
    QCOMPARE(device.device.flash(0, 0), serial.device.flash(0, 0));
    QCOMPARE(device.device.flash(1, 0), serial.device.flash(1, 0));
    QCOMPARE(device.device.violationCount(), 0);
    QCOMPARE(int(g_CONNECTTYPE), int(links::serial));

    // Closing it makes the serial link the engine's own again.
    world.clear();
    world.engine->disconnected();
    QVERIFY(world.lines.isEmpty());
    QVERIFY(waitFor([&] { return device.socket->state() == QAbstractSocket::UnconnectedState; }));
    world.engine->send(0xF903);
    QCOMPARE(world.lines, QStringList({"Disconnect", " port is disconnected."}));
}

void TestLink::serialLinkComesBack()
{
    NetworkDevice device;
    World world(patient());
    QVERIFY(world.connectTo(device));
    QVERIFY(world.run(rows, 2));
    QCOMPARE(world.lines.first(), QStringLiteral("ConnectSuccess|ttyS2"));
    QCOMPARE(world.lines.last(), QStringLiteral("APPSTATUS|6"));
    QVERIFY(!world.link->sent.isEmpty());
    QVERIFY(device.device.flash(0, 0).isEmpty());
}

/** Without an event loop in between, so that the network link is still being made. */
void TestLink::serialConnectOvertakesTheNetwork()
{
    NetworkDevice device;
    World world(patient());
    QSignalSpy connected(world.engine.get(), &ControlCenter::netconnected);
    world.engine->connectNet(QStringLiteral("127.0.0.1"), device.port());
    QVERIFY(world.run(rows, 2));
    QCOMPARE(world.lines.last(), QStringLiteral("APPSTATUS|6"));
    QCOMPARE(connected.count(), 0);
    QVERIFY(device.device.flash(0, 0).isEmpty());

    QVERIFY(world.connectTo(device));
    world.clear();
    world.engine->uploadByMergeFW(world.packagePath(), rows, 5);
    QVERIFY(world.waitForEnd());
    QCOMPARE(world.lines.last(), QStringLiteral("APPSTATUS|6"));
    QVERIFY(!device.device.flash(0, 0).isEmpty());
}

void TestLink::peerClosesInMidRun()
{
    NetworkDevice device;
    device.closeAfter = 2;
    World world(patient());
    QSignalSpy gone(world.engine.get(), &ControlCenter::netdisconnected);
    QVERIFY(world.connectTo(device));
    world.engine->uploadByMergeFW(world.packagePath(), rows, 2);
    QVERIFY(world.waitForEnd());
    QCOMPARE(gone.count(), 1);
    QVERIFY(world.lines.contains(
        QStringLiteral("Read the product information of 'MAIN' fail, exit upgrade.")));
    QVERIFY(world.lines.contains(QStringLiteral("APPSTATUS|7")));
    QVERIFY(world.run(rows, 2));
    QCOMPARE(world.lines.last(), QStringLiteral("APPSTATUS|6"));
}

void TestLink::networkFailureHasItsOwnWords()
{
    NetworkDevice device;
    World world;
    QVERIFY(world.connectTo(device));
    char bytes[] = "0123456789";
    QVERIFY(world.engine->write(bytes, 10));
    device.socket->abort();
    QSignalSpy gone(world.engine.get(), &ControlCenter::netdisconnected);
    QVERIFY(waitFor([&] { return gone.count() == 1; }));
    world.clear();
    QVERIFY(!world.engine->write(bytes, 10));
    QCOMPARE(world.lines, QStringList{"Failed to send command, net port has been closed"});
}

void TestLink::networkAtConstruction()
{
    g_CONNECTTYPE = links::network;
    NetworkDevice device;
    QTemporaryDir dir;
    ControlCenter engine(EngineHarness::scaledPlatform(dir.path()));
    QVERIFY(engine.findChild<CoreTelnet *>() != nullptr);
    QSignalSpy connected(&engine, &ControlCenter::netconnected);
    engine.connectNet(QStringLiteral("127.0.0.1"), device.port());
    QVERIFY(waitFor([&] { return connected.count() == 1; }));
    // There is no serial link to open then.
    QStringList lines;
    connect(&engine, &ControlCenter::message, &engine,
            [&](const QStringList &list) { lines += list; });
    engine.slotConnect(QStringLiteral("ttyS2"));
    QCOMPARE(lines, QStringList({"ConnectFail", "ttyS2 connect failed, serial port is occupied or "
                                                "does not exist"}));
}

AGENT_TEST(TestLink)

} // namespace tst_link

#include "tst_link.moc"
