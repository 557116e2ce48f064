// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "monitoring/ServiceNotifier.h"
#include "support/MessageRecorder.h"
#include "support/NotifyServer.h"
#include "support/TestCase.h"

#include <QSemaphore>
#include <QThread>

namespace monitoring::tst_notifier {

using runtime::NotifySocket;

using namespace std::chrono_literals;

class TestNotifier : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_bench = std::make_unique<ConsoleBench>();
        m_bench->start();
        m_address = m_bench->folder.filePath("notify").toLocal8Bit();
        m_manager = std::make_unique<NotifyServer>(m_address);
    }

    void noReadinessWithoutAPort()
    {
        ConsoleBench second;
        second.platform.ports.console = m_bench->server->port();
        second.start();
        ServiceNotifier notifier({m_address, 0us}, *second.server);
        notifier.start();
        QCOMPARE(taken(), QList<QByteArray>{"STATUS=Not listening on port P: The bound address is "
                                            "already in use."});
    }

    void run()
    {
        const auto notifier = notify();
        ConsoleTestClient client(m_bench->server->port());
        client.send("UPGRADE||MAIN,0,0\r\n");
        QTRY_COMPARE(client.received().count("\r\nUPGRADEFAIL\r\n"), 2);
        const QList<QByteArray> expected{
            "READY=1\nSTATUS=Idle, listening on port P.",
            "STATUS=Upgrading: reading the device, 0 %",
            "STATUS=Idle, listening on port P. The last upgrade failed."};
        QCOMPARE(taken(), expected);
    }

    void watchdogIsFed()
    {
        const auto notifier = notify(20ms);
        int count = 0;
        QTRY_VERIFY((count += feeds()) >= 5);
    }

    void standingEngineStopsTheFeeding()
    {
        const auto notifier = notify(10ms);
        QVERIFY(isFed());
        QSemaphore standing;
        QSemaphore go;
        auto *const inEngine = new QObject;
        inEngine->moveToThread(m_bench->server->worker()->engineThread());
        const auto stand = [&, inEngine] {
            standing.release();
            go.acquire();
            delete inEngine;
        };
        // ThreadSanitizer does not see how a single-shot timer hands over to another thread.
        QMetaObject::invokeMethod(inEngine, stand, Qt::QueuedConnection);
        standing.acquire();
        QCoreApplication::processEvents(); // an answer may be on its way
        feeds();
        QTest::qWait(100); // twenty times the interval
        QCOMPARE(feeds(), 0);
        go.release();
        QVERIFY(isFed());
    }

    void noWatchdogUnlessAsked()
    {
        const auto notifier = notify();
        QTest::qWait(50);
        QCOMPARE(feeds(), 0);
        QCOMPARE(notifier->children().size(), 0);
    }

    void busyManagerGetsTheMessageLater()
    {
        const NotifySocket other(m_address);
        while (other.send("X=1") == NotifySocket::Result::Sent) {
        }
        const auto notifier = notify();
        const QByteArray ready = "READY=1\nSTATUS=Idle, listening on port P.";
        QVERIFY(!taken().contains(ready));
        QList<QByteArray> later;
        QVERIFY(waitFor([&] {
            later = taken();
            return !later.isEmpty();
        }));
        QCOMPARE(later, QList<QByteArray>{ready});
    }

    void badAddress()
    {
        const MessageRecorder recorder("agent.service");
        m_address = "vsock:2:1";
        const auto notifier = notify(10ms);
        QCOMPARE(MessageRecorder::take(),
                 QStringList{"W no address of a service manager: \"vsock:2:1\""});
        QCOMPARE(notifier->children().size(), 0);
    }

private:
    std::unique_ptr<ServiceNotifier> notify(std::chrono::microseconds watchdog = 0us)
    {
        auto notifier = std::make_unique<ServiceNotifier>(
            runtime::ServiceEnvironment{m_address, watchdog}, *m_bench->server);
        notifier->start();
        return notifier;
    }

    QList<QByteArray> taken()
    {
        const QByteArray port = QByteArray::number(m_bench->server->port());
        QList<QByteArray> messages;
        for (QByteArray message : m_manager->take())
            messages.append(message.replace("port " + port, "port P"));
        return messages;
    }

    int feeds() { return m_manager->take().count("WATCHDOG=1"); }
    bool isFed()
    {
        return waitFor([this] { return feeds() > 0; });
    }

    std::unique_ptr<ConsoleBench> m_bench;
    std::unique_ptr<NotifyServer> m_manager;
    QByteArray m_address;
};

AGENT_TEST(TestNotifier)

} // namespace monitoring::tst_notifier

#include "tst_notifier.moc"
