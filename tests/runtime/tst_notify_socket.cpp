// SPDX-License-Identifier: Apache-2.0
#include "runtime/NotifySocket.h"
#include "runtime/ServiceEnvironment.h"
#include "support/NotifyServer.h"
#include "support/TestCase.h"

#include <QTemporaryDir>

#include <fcntl.h>

namespace runtime::tst_notify_socket {

using Result = NotifySocket::Result;

class TestNotifySocket : public QObject
{
    Q_OBJECT

private slots:
    void pathAndAbstract_data()
    {
        const tests::DataTable<QByteArray> rows("address");
        const QByteArray folder = m_folder.path().toLocal8Bit();
        rows("path", folder + "/notify");
        rows("abstract", QByteArray("@test" + folder));
        // The longest that the address structure holds: 108 bytes, of which a path needs one to
        // end.
        rows("longest path", (folder + '/').leftJustified(107, 'x'));
        rows("longest abstract", ('@' + folder).leftJustified(108, 'x'));
    }

    void pathAndAbstract()
    {
        QFETCH(QByteArray, address);
        NotifyServer server(address);
        const NotifySocket socket(address);
        QVERIFY(socket.isValid());
        QCOMPARE(socket.send("READY=1\nSTATUS=a"), Result::Sent);
        QCOMPARE(socket.send("WATCHDOG=1"), Result::Sent);
        QCOMPARE(server.take(), (QList<QByteArray>{"READY=1\nSTATUS=a", "WATCHDOG=1"}));
    }

    void noAddress_data()
    {
        const tests::DataTable<QByteArray> rows("address");
        rows("empty", {});
        rows("root", "/");
        rows("nameless", "@");
        rows("relative", "run/notify");
        rows("another family", "vsock:2:1");
        rows("path too long", '/' + QByteArray(107, 'x'));
        rows("abstract too long", '@' + QByteArray(108, 'x'));
    }

    void noAddress()
    {
        QFETCH(QByteArray, address);
        const NotifySocket socket(address);
        QVERIFY(!socket.isValid());
        QCOMPARE(socket.send("READY=1"), Result::Failed);
    }

    void managerGoesAndComes()
    {
        const QByteArray path = m_folder.filePath("manager").toLocal8Bit();
        const NotifySocket socket(path);
        QVERIFY(socket.isValid());
        QCOMPARE(socket.send("a"), Result::Failed);
        {
            NotifyServer server(path);
            QCOMPARE(socket.send("b"), Result::Sent);
            QCOMPARE(server.take(), QList<QByteArray>{"b"});
        }
        QCOMPARE(socket.send("c"), Result::Failed);
        QVERIFY(QFile::remove(path));
        NotifyServer server(path);
        QCOMPARE(socket.send("d"), Result::Sent);
        QCOMPARE(server.take(), QList<QByteArray>{"d"});
    }

    void fullManager()
    {
        const QByteArray path = m_folder.filePath("full").toLocal8Bit();
        NotifyServer server(path);
        const NotifySocket socket(path);
        Result result = Result::Sent;
        int sent = 0;
        for (; result == Result::Sent && sent < 100'000; ++sent)
            result = socket.send("WATCHDOG=1");
        QCOMPARE(result, Result::Full);
        QCOMPARE(server.take().size(), sent - 1);
        QCOMPARE(socket.send("WATCHDOG=1"), Result::Sent);
    }

    void closedInChildren()
    {
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(next);
        const NotifySocket socket("/nowhere");
        QCOMPARE(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    }

    void environment_data()
    {
        const tests::DataTable<QByteArray, QByteArray, QByteArray, qint64> rows(
            "socket", "microseconds", "process", "watchdog");

        const QByteArray socket = "/run/notify";
        rows("nothing", {}, {}, {}, 0);
        rows("no watchdog", socket, {}, {}, 0);
        rows("for any process", socket, "30000000", {}, 30'000'000);
        rows("for this process", socket, "5000000000", "42", 5'000'000'000);
        rows("for another process", socket, "30000000", "43", 0);
        rows("malformed process", socket, "30000000", "x", 0);
        rows("zero", socket, "0", {}, 0);
        rows("negative", socket, "-1", {}, 0);
        rows("no number", socket, "soon", {}, 0);
        rows("no socket", {}, "30000000", "42", 0);
    }

    void environment()
    {
        QFETCH(QByteArray, socket);
        QFETCH(QByteArray, microseconds);
        QFETCH(QByteArray, process);
        const auto read = ServiceEnvironment::fromValues(socket, microseconds, process, 42);
        QCOMPARE(read.notifySocket, socket);
        QTEST(qint64(read.watchdog.count()), "watchdog");
    }

    void environmentIsTaken()
    {
        qputenv("NOTIFY_SOCKET", "@test");
        qputenv("WATCHDOG_USEC", "1000");
        qputenv("WATCHDOG_PID", QByteArray::number(QCoreApplication::applicationPid()));
        const ServiceEnvironment first = ServiceEnvironment::take();
        QCOMPARE(first.notifySocket, QByteArray("@test"));
        QCOMPARE(qint64(first.watchdog.count()), 1000);
        for (const char *name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            QVERIFY(!qEnvironmentVariableIsSet(name));
        const ServiceEnvironment second = ServiceEnvironment::take();
        QCOMPARE(second.notifySocket, QByteArray());
        QCOMPARE(qint64(second.watchdog.count()), 0);
    }

private:
    QTemporaryDir m_folder;
};

AGENT_TEST(TestNotifySocket)

} // namespace runtime::tst_notify_socket

#include "tst_notify_socket.moc"
