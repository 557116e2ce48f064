// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace engine::tst_link {

using platform::TimeOuts;

namespace {

const QStringList refusedRead{
    "READPI|Please connnect serial port in 'Upgrade Firmware' page first!"};

/** A simulated device with a network port. */
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

struct Fixture : Scenario
{
    explicit Fixture(const std::optional<TimeOuts> &timeOuts = std::nullopt)
        : Scenario(bothChips, bothImages, "1.0.12", timeOuts)
    {
    }

    bool connectTo(NetworkDevice &device)
    {
        QSignalSpy connected(engine.get(), &ControlCenter::netconnected);
        engine->connectNet("127.0.0.1", device.port());
        return waitFor([&] { return connected.count() == 1 && device.socket != nullptr; });
    }
};

} // namespace

class TestLink : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_CONNECTTYPE = links::serial; }

    void opensWithTheLastBaudRate()
    {
        Fixture fixture;
        fixture.engine->slotConnect("ttyS2");
        QCOMPARE(fixture.link->openedWith, QString("ttyS2 57600 8 1 NoParity"));
        fixture.engine->slotConnectWithBandrate(QString("ttyS2"), QString("115200"));
        fixture.engine->slotAutoConnect(QString("ttyS3"));
        QCOMPARE(fixture.link->openedWith, QString("ttyS3 115200 8 1 NoParity"));
    }

    /** The failed open does not end the run; the run continues and ends by its time-outs. */
    void runWithoutAPort()
    {
        Fixture fixture;
        fixture.link->unplug();
        QVERIFY(fixture.run(bothRows, 2));
        const QStringList lost{"Disconnect", "ttyS2 port is disconnected."};
        QVERIFY(sameTranscript(
            fixture.lines,
            lost +
                QStringList{"ConnectFail",
                            "ttyS2 connect failed, serial port is occupied or does not exist",
                            "Firmware file checksum ok.", "Read model name."} +
                lost + QStringList{"Read model name fail, retry 1."} + lost +
                QStringList{"Read model name fail, retry 2."} + lost +
                QStringList{"Read model name fail, upgrade fail, exit.", "APPSTATUS|7",
                            "Erasing...", "UPGRADERESULT|MAIN,0,0,,,,,,,,,0,2|2"}));
        QVERIFY(fixture.link->sent.isEmpty());
        fixture.link->plugIn();
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
    }

    void portGoesInMidRun()
    {
        Fixture whole;
        QVERIFY(whole.run(bothRows, 2));
        const int frames = whole.link->sent.size();
        for (int at = 0; at < frames; ++at) {
            Fixture fixture;
            fixture.link->failWrite = [&, at](const QByteArray &) {
                const bool gone = fixture.link->sent.size() == at;
                if (gone)
                    fixture.link->unplug();
                return gone;
            };
            QVERIFY(fixture.run(bothRows, 2));
            QVERIFY(fixture.lines.filter("APPSTATUS|").size() == 1);
            QVERIFY(!fixture.lines.contains("APPSTATUS|6"));
            QVERIFY(fixture.engine->timersIdle());

            fixture.link->failWrite = nullptr;
            fixture.link->plugIn();
            QVERIFY(fixture.run(bothRows, 2));
            QVERIFY(fixture.succeeded());
        }
    }

    void readNeedsALink()
    {
        Scenario fixture;
        fixture.engine->getProductInfo();
        QCOMPARE(fixture.lines, refusedRead);
        fixture.connectPort();
        // Another thread requests the close before the queued request arrives.
        fixture.engine->requestDisconnect();
        fixture.engine->getProductInfo();
        QCOMPARE(fixture.lines, refusedRead);
        // The port was pulled, and nothing has been sent since.
        fixture.connectPort();
        fixture.link->unplug();
        fixture.engine->getProductInfo();
        QCOMPARE(fixture.lines, refusedRead);
        QVERIFY(fixture.link->sent.isEmpty());
    }

    void readOverTheNetwork()
    {
        NetworkDevice device;
        Fixture fixture(patient());
        QVERIFY(fixture.connectTo(device));
        fixture.engine->getProductInfo();
        QVERIFY(fixture.waitForEnd());
        QVERIFY(fixture.lines.last().startsWith("PISHOW|"));
        device.socket->abort();
        QSignalSpy gone(fixture.engine.get(), &ControlCenter::netdisconnected);
        QVERIFY(waitFor([&] { return gone.count() == 1; }));
        fixture.clear();
        fixture.engine->getProductInfo();
        QCOMPARE(fixture.lines, refusedRead);
    }

    void upgradeOverTheNetwork()
    {
        Fixture serial;
        QVERIFY(serial.run(bothRows, 2));
        QStringList expected = serial.lines;
        expected.removeFirst(); // ConnectSuccess

        NetworkDevice device;
        Fixture fixture(patient());
        QVERIFY(fixture.connectTo(device));
        fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 2);
        QVERIFY(fixture.waitForEnd());
        QVERIFY(sameTranscript(fixture.lines, expected));
        QVERIFY(fixture.link->sent.isEmpty());
        QCOMPARE(device.device.flash(0, 0), serial.device.flash(0, 0));
        QCOMPARE(device.device.flash(1, 0), serial.device.flash(1, 0));
        QCOMPARE(device.device.violationCount(), 0);
        QCOMPARE(int(g_CONNECTTYPE), int(links::serial));

        // Closing it makes the serial link the engine's own again.
        fixture.clear();
        fixture.engine->disconnected();
        QVERIFY(fixture.lines.isEmpty());
        QVERIFY(
            waitFor([&] { return device.socket->state() == QAbstractSocket::UnconnectedState; }));
        fixture.engine->send(0xF903);
        QCOMPARE(fixture.lines, QStringList({"Disconnect", " port is disconnected."}));
    }

    void serialLinkComesBack()
    {
        NetworkDevice device;
        Fixture fixture(patient());
        QVERIFY(fixture.connectTo(device));
        QVERIFY(fixture.run(bothRows, 2));
        QCOMPARE(fixture.lines.first(), QString("ConnectSuccess|ttyS2"));
        QVERIFY(fixture.succeeded());
        QVERIFY(!fixture.link->sent.isEmpty());
        QVERIFY(device.device.flash(0, 0).isEmpty());
    }

    /** Without an event loop in between, so that the network link is still being made. */
    void serialConnectOvertakesTheNetwork()
    {
        NetworkDevice device;
        Fixture fixture(patient());
        QSignalSpy connected(fixture.engine.get(), &ControlCenter::netconnected);
        fixture.engine->connectNet("127.0.0.1", device.port());
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
        QCOMPARE(connected.count(), 0);
        QVERIFY(device.device.flash(0, 0).isEmpty());

        QVERIFY(fixture.connectTo(device));
        fixture.clear();
        fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 5);
        QVERIFY(fixture.waitForEnd());
        QVERIFY(fixture.succeeded());
        QVERIFY(!device.device.flash(0, 0).isEmpty());
    }

    void peerClosesInMidRun()
    {
        NetworkDevice device;
        device.closeAfter = 2;
        Fixture fixture(patient());
        QSignalSpy gone(fixture.engine.get(), &ControlCenter::netdisconnected);
        QVERIFY(fixture.connectTo(device));
        fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 2);
        QVERIFY(fixture.waitForEnd());
        QCOMPARE(gone.count(), 1);
        QVERIFY(
            fixture.lines.contains("Read the product information of 'MAIN' fail, exit upgrade."));
        QVERIFY(fixture.lines.contains("APPSTATUS|7"));
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
    }

    void networkFailureHasItsOwnWords()
    {
        NetworkDevice device;
        Fixture fixture;
        QVERIFY(fixture.connectTo(device));
        char bytes[] = "0123456789";
        QVERIFY(fixture.engine->write(bytes, 10));
        device.socket->abort();
        QSignalSpy gone(fixture.engine.get(), &ControlCenter::netdisconnected);
        QVERIFY(waitFor([&] { return gone.count() == 1; }));
        fixture.clear();
        QVERIFY(!fixture.engine->write(bytes, 10));
        QCOMPARE(fixture.lines, QStringList{"Failed to send command, net port has been closed"});
    }

    void networkAtConstruction()
    {
        g_CONNECTTYPE = links::network;
        NetworkDevice device;
        QTemporaryDir dir;
        ControlCenter engine(EngineHarness::scaledPlatform(dir.path()));
        QVERIFY(engine.findChild<CoreTelnet *>() != nullptr);
        QSignalSpy connected(&engine, &ControlCenter::netconnected);
        engine.connectNet("127.0.0.1", device.port());
        QVERIFY(waitFor([&] { return connected.count() == 1; }));
        // There is no serial link to open then.
        QStringList lines;
        connect(&engine, &ControlCenter::message, &engine,
                [&](const QStringList &list) { lines += list; });
        engine.slotConnect("ttyS2");
        QCOMPARE(lines,
                 QStringList({"ConnectFail", "ttyS2 connect failed, serial port is occupied or "
                                             "does not exist"}));
    }
};

AGENT_TEST(TestLink)

} // namespace engine::tst_link

#include "tst_link.moc"
