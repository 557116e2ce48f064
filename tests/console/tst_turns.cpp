// SPDX-License-Identifier: Apache-2.0
// One client asks for list after list: what the others, and the client itself, notice of it.
#include "console/ConsoleBench.h"
#include "support/TestCase.h"

#include <sys/ioctl.h>

namespace tst_turns {

namespace {

const QByteArray list = "GETFIRMWARELIST\r\n";
const QByteArray listReply = "FIRMWARELIST||";
const QByteArray heartbeat = "HEARTBEAT\r\n";
const QByteArray versionReply = "VERSION||1.15\r\n";
const QByteArray unknown = "UPGRADELOG||Unknow command.\r\n";

int listsOf(ConsoleTestClient &client)
{
    return client.received().count(listReply);
}

/** A server with a package, so that lists end no run. */
struct Console : ConsoleSession
{
    explicit Console(const std::function<void(ConsoleBench &bench)> &change = nullptr)
        : ConsoleSession([&](ConsoleBench &bench) {
              if (change)
                  change(bench);
              bench.usePackage("good.fwm");
          })
    {
        QObject::connect(engine(), &ControlCenter::message, server.get(),
                         [this](const QStringList &line) {
                             lists += line == QStringList{"Firmware file checksum ok."} ? 1 : 0;
                         });
    }

    /** The client's lists of one write have reached the server, and the first one is answered. */
    void beginLists(int count)
    {
        client->send(list.repeated(count));
        readWithoutTheLoop(*client);
    }

    /** How often the package has been read. */
    int lists = 0;
};

} // namespace

class TestTurns : public QObject
{
    Q_OBJECT

private slots:
    /** Whatever the lists cost: between a request and its answer there are at most two of them, the
     * one that was due and the one after the answer, before the client has it. */
    void othersAreServedInBetween()
    {
        constexpr int count = 500;
        Console console;
        const auto other = console.connectClient();
        int before = 0;
        QVector<int> between;
        const auto ask = [&] {
            before = console.lists;
            other->send(heartbeat);
        };
        connect(&other->socket, &QTcpSocket::readyRead, this, [&] {
            between.append(console.lists - before);
            ask();
        });
        console.beginLists(count);
        ask();
        QTRY_COMPARE(listsOf(*console.client), count);
        QCOMPARE(console.lists, count);
        QVERIFY(between.size() >= count / 2);
        QVERIFY(*std::max_element(between.begin(), between.end()) <= 2);
    }

    void timersAndEventsInBetween()
    {
        constexpr int count = 50;
        Console console;
        // How many lists there were at each time-out, and at each event.
        QVector<int> timeOuts{0};
        QVector<int> events{0};
        QTimer timer;
        connect(&timer, &QTimer::timeout, &timer, [&] {
            timeOuts.append(console.lists);
            QMetaObject::invokeMethod(
                &timer, [&] { events.append(console.lists); }, Qt::QueuedConnection);
        });
        timer.start(0);
        console.beginLists(count);
        QTRY_COMPARE(listsOf(*console.client), count);
        for (const auto &times : {timeOuts, events}) {
            for (int i = 1; i < times.size(); ++i)
                QVERIFY(times.at(i) - times.at(i - 1) <= 2);
            QCOMPARE(times.last(), count);
        }
    }

    void nothingIsReadMeanwhile()
    {
        constexpr int count = 100;
        Console console;
        console.beginLists(count);
        const QByteArray more = "VERSION\r\n" + QByteArray(5000, 'x') + "\r\n";
        console.client->send(more);
        QTcpSocket *const socket = console.accepted(*console.client);
        QCOMPARE(console.lists, 1);
        while (console.lists < count) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            emit socket->readyRead(); // as any notifier might
            int unread = 0;
            QCOMPARE(ioctl(int(socket->socketDescriptor()), FIONREAD, &unread), 0);
            if (console.lists < count)
                QCOMPARE(unread, more.size());
        }
        QTRY_VERIFY(console.client->received().endsWith(versionReply + unknown));
        QCOMPARE(listsOf(*console.client), count);
    }

    /** Its further requests go with it, and nothing else does. */
    void clientThatLeaves()
    {
        Console console;
        console.beginLists(1000);
        console.client->disconnectAtOnce();
        QTRY_COMPARE(console.connections(), 0);
        QVERIFY2(console.lists <= 3, qPrintable(QString::number(console.lists)));
        const int lists = console.lists;
        const auto other = console.connectClient();
        other->send(list);
        QTRY_COMPARE(listsOf(*other), 1);
        QCOMPARE(console.lists, lists + 1);
    }

    /** A client that has sent its last request gets all replies. */
    void clientThatHasClosedItsSide()
    {
        constexpr int count = 50;
        Console console;
        console.client->send(list.repeated(count) + "VERSION\r\n");
        console.client->closeItsSide();
        QTRY_VERIFY(console.client->received().endsWith(versionReply));
        QCOMPARE(listsOf(*console.client), count);
        QTRY_COMPARE(console.client->socket.state(), QAbstractSocket::UnconnectedState);
    }

    /** The network link comes up while lists wait: its own list and theirs do not meet in one turn.
     */
    void runKeepsItsLists()
    {
        Console console(&ConsoleBench::recordRequests);
        console.beginLists(10);
        emit console.server->worker()->netconnected();
        QCOMPARE(console.requests.size(), 1);
        QTRY_COMPARE(listsOf(*console.client), 10);
        QCOMPARE(console.lists, 2); // the others are quiet
    }
};

AGENT_TEST(TestTurns)

} // namespace tst_turns

#include "tst_turns.moc"
