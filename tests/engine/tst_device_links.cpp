// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "support/TestCase.h"

#include <QSignalSpy>

namespace engine::tst_device_links {

using links::DeviceLink;

namespace {

/** Both links as fakes; each is null until the engine makes it. */
struct LinksBench
{
    explicit LinksBench(quint8 configured = links::serial)
    {
        g_CONNECTTYPE = configured;
        links = std::make_unique<DeviceLinks>(factory(), output, QString("57600"), &parent);
        QObject::connect(links.get(), &DeviceLinks::received, &parent,
                         [this](const QByteArray &chunk) { received += chunk; });
    }

    QObject parent;
    QStringList lines;
    QByteArray received;
    FakeDeviceLink *serial = nullptr;
    FakeDeviceLink *network = nullptr;
    EngineOutput output{[this](const QStringList &list) { lines += list.join('|'); }};
    std::unique_ptr<DeviceLinks> links;

    void openNetwork()
    {
        links->connectNetwork(QString("10.0.0.7"), 6752);
        network->open = true;
        emit network->opened();
    }

private:
    LinkFactory factory()
    {
        LinkFactory made;
        made.serial = [this](QObject *owner) { return serial = new FakeDeviceLink(owner); };
        made.network = [this](QObject *owner) { return network = new FakeDeviceLink(owner); };
        return made;
    }
};

} // namespace

/** Which link is active, over two links that a test plays. */
class TestDeviceLinks : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_CONNECTTYPE = links::serial; }

    void configuredLink_data()
    {
        const tests::DataTable<int, bool, bool> rows("configured", "serial", "network");
        rows("serial", int(links::serial), true, false);
        rows("network", int(links::network), false, true);
        rows("none", 0, false, false);
    }

    void configuredLink()
    {
        QFETCH(int, configured);
        const LinksBench bench{quint8(configured)};
        QTEST(bench.serial != nullptr, "serial");
        QTEST(bench.network != nullptr, "network");
        DeviceLink *const expected = bench.serial != nullptr ? bench.serial : bench.network;
        QCOMPARE(bench.links->activeLink(), expected);
        QVERIFY(!bench.links->isOpen());
    }

    void opensAtTheBaudRate()
    {
        LinksBench bench;
        bench.links->open("ttyS2");
        bench.links->setBaudRate("115200");
        bench.links->open("ttyS3");
        QCOMPARE(bench.serial->openedAt, QStringList({"ttyS2 57600", "ttyS3 115200"}));
        QCOMPARE(bench.lines, QStringList({"ConnectSuccess|ttyS2", "ConnectSuccess|ttyS3"}));
        QVERIFY(bench.links->isOpen());
        QVERIFY(bench.links->send("frame"));
        QCOMPARE(bench.serial->sent, QList<QByteArray>{"frame"});
    }

    void openFails()
    {
        LinksBench bench;
        bench.serial->present = false;
        bench.links->open("ttyS2");
        QCOMPARE(bench.lines,
                 QStringList({"Disconnect", "ttyS2 port is disconnected.", "ConnectFail",
                              "ttyS2 connect failed, serial port is occupied or does not exist"}));
        QVERIFY(!bench.links->isOpen());
    }

    void requestDownHoldsUntilTheNextOpen()
    {
        LinksBench bench;
        bench.links->open("ttyS2");
        bench.links->requestDown();
        QVERIFY(!bench.links->isOpen());
        bench.serial->present = false;
        bench.links->open("ttyS2");
        bench.serial->open = true;
        QVERIFY(!bench.links->isOpen());
        bench.serial->present = true;
        bench.links->open("ttyS2");
        QVERIFY(bench.links->isOpen());
    }

    void networkTakesOverWhenItIsOpen()
    {
        LinksBench bench;
        QSignalSpy switched(bench.links.get(), &DeviceLinks::switched);
        QSignalSpy connected(bench.links.get(), &DeviceLinks::networkConnected);
        bench.links->connectNetwork("10.0.0.7", 6752);
        QCOMPARE(bench.network->openedAt, QStringList{"10.0.0.7 6752"});
        QCOMPARE(bench.links->active(), DeviceLinks::Kind::Serial);
        QCOMPARE(switched.count(), 0);
        bench.network->open = true;
        emit bench.network->opened();
        QCOMPARE(bench.links->active(), DeviceLinks::Kind::Network);
        QCOMPARE(switched.count(), 1);
        QCOMPARE(switched.first().first().value<DeviceLink *>(), bench.network);
        QCOMPARE(connected.count(), 1);
        QVERIFY(bench.links->isOpen());
        QVERIFY(bench.links->send("frame"));
        QVERIFY(bench.serial->sent.isEmpty());
        QCOMPARE(bench.network->sent.size(), 1);
    }

    void serialOpenDropsTheNetwork()
    {
        LinksBench bench;
        bench.openNetwork();
        bench.links->open("ttyS2");
        QVERIFY(!bench.network->open);
        QCOMPARE(bench.links->active(), DeviceLinks::Kind::Serial);
        QCOMPARE(bench.lines, QStringList{"ConnectSuccess|ttyS2"});
    }

    void closeOfTheNetworkGoesBack()
    {
        LinksBench bench;
        bench.openNetwork();
        bench.links->close();
        QVERIFY(!bench.network->open);
        QCOMPARE(bench.links->active(), DeviceLinks::Kind::Serial);
        QVERIFY(bench.lines.isEmpty());
        bench.links->close();
        QCOMPARE(bench.lines, QStringList({"Disconnect", " port is disconnected."}));
    }

    void lostNetworkIsAnnounced()
    {
        LinksBench bench;
        QSignalSpy gone(bench.links.get(), &DeviceLinks::networkDisconnected);
        bench.openNetwork();
        emit bench.serial->lost();
        QCOMPARE(gone.count(), 0);
        emit bench.network->lost();
        QCOMPARE(gone.count(), 1);
    }

    void onlyTheActiveLinkIsHeard()
    {
        LinksBench bench;
        bench.links->open("ttyS2");
        bench.links->open("ttyS2");
        bench.serial->deliver("1");
        bench.links->connectNetwork("10.0.0.7", 6752);
        bench.network->deliver("2");
        emit bench.network->opened();
        bench.network->deliver("3");
        bench.serial->deliver("4");
        bench.links->open("ttyS2");
        bench.network->deliver("5");
        bench.serial->deliver("6");
        QCOMPARE(bench.received, QByteArray("136"));
    }

    void statusGoesOverTheSerialLink()
    {
        LinksBench bench;
        bench.openNetwork();
        QVERIFY(bench.links->sendSerial("status"));
        QCOMPARE(bench.serial->sent, QList<QByteArray>{"status"});
        QVERIFY(bench.network->sent.isEmpty());
        LinksBench withoutSerial(links::network);
        QVERIFY(!withoutSerial.links->sendSerial("status"));
    }

    void withoutALinkNothingIsSent()
    {
        LinksBench bench(0);
        QVERIFY(!bench.links->send("frame"));
        bench.links->close();
        QVERIFY(bench.lines.isEmpty());
        bench.links->open("ttyS2");
        QVERIFY(!bench.links->isOpen());
        QCOMPARE(bench.lines,
                 QStringList({"ConnectFail",
                              "ttyS2 connect failed, serial port is occupied or does not exist"}));
    }
};

AGENT_TEST(TestDeviceLinks)

} // namespace engine::tst_device_links

#include "tst_device_links.moc"
