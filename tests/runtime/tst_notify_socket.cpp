// SPDX-License-Identifier: Apache-2.0
#include "runtime/NotifySocket.h"
#include "runtime/ServiceEnvironment.h"
#include "support/NotifyServer.h"
#include "support/TestCase.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>

namespace tst_notify_socket {

using runtime::NotifySocket;
using runtime::ServiceEnvironment;

using Result = NotifySocket::Result;

class TestNotifySocket : public QObject
{
    Q_OBJECT

private slots:
    void pathAndAbstract_data();
    void pathAndAbstract();
    void noAddress_data();
    void noAddress();
    void managerGoesAndComes();
    void fullManager();
    void closedInChildren();
    void environment_data();
    void environment();
    void environmentIsTaken();

private:
    QTemporaryDir m_folder;
};

void TestNotifySocket::pathAndAbstract_data()
{
    QTest::addColumn<QByteArray>("address");
    const QByteArray folder = m_folder.path().toLocal8Bit();
    QTest::newRow("path") << folder + "/notify";
    QTest::newRow("abstract") << QByteArray("@test" + folder);
    // The longest that the address structure holds: 108 bytes, of which a path needs one to end.
    QTest::newRow("longest path") << (folder + '/').leftJustified(107, 'x');
    QTest::newRow("longest abstract") << ('@' + folder).leftJustified(108, 'x');
}

void TestNotifySocket::pathAndAbstract()
{
    QFETCH(QByteArray, address);
    NotifyServer server(address);
    const NotifySocket socket(address);
    QVERIFY(socket.isValid());
    QCOMPARE(socket.send("READY=1\nSTATUS=a"), Result::Sent);
    QCOMPARE(socket.send("WATCHDOG=1"), Result::Sent);
    QCOMPARE(server.take(), (QList<QByteArray>{"READY=1\nSTATUS=a", "WATCHDOG=1"}));
}

void TestNotifySocket::noAddress_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("root") << QByteArray("/");
    QTest::newRow("nameless") << QByteArray("@");
    QTest::newRow("relative") << QByteArray("run/notify");
    QTest::newRow("another family") << QByteArray("vsock:2:1");
    QTest::newRow("path too long") << '/' + QByteArray(107, 'x');
    QTest::newRow("abstract too long") << '@' + QByteArray(108, 'x');
}

void TestNotifySocket::noAddress()
{
    QFETCH(QByteArray, address);
    const NotifySocket socket(address);
    QVERIFY(!socket.isValid());
    QCOMPARE(socket.send("READY=1"), Result::Failed);
}

void TestNotifySocket::managerGoesAndComes()
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

void TestNotifySocket::fullManager()
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

void TestNotifySocket::closedInChildren()
{
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    const NotifySocket socket("/nowhere");
    QCOMPARE(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

void TestNotifySocket::environment_data()
{
    QTest::addColumn<QByteArray>("socket");
    QTest::addColumn<QByteArray>("microseconds");
    QTest::addColumn<QByteArray>("process");
    QTest::addColumn<qint64>("watchdog");

    const QByteArray socket = "/run/notify";
    QTest::newRow("nothing") << QByteArray() << QByteArray() << QByteArray() << qint64{0};
    QTest::newRow("no watchdog") << socket << QByteArray() << QByteArray() << qint64{0};
    QTest::newRow("for any process")
        << socket << QByteArray("30000000") << QByteArray() << qint64{30'000'000};
    QTest::newRow("for this process")
        << socket << QByteArray("5000000000") << QByteArray("42") << qint64{5'000'000'000};
    QTest::newRow("for another process")
        << socket << QByteArray("30000000") << QByteArray("43") << qint64{0};
    QTest::newRow("malformed process")
        << socket << QByteArray("30000000") << QByteArray("x") << qint64{0};
    QTest::newRow("zero") << socket << QByteArray("0") << QByteArray() << qint64{0};
    QTest::newRow("negative") << socket << QByteArray("-1") << QByteArray() << qint64{0};
    QTest::newRow("no number") << socket << QByteArray("soon") << QByteArray() << qint64{0};
    QTest::newRow("no socket") << QByteArray() << QByteArray("30000000") << QByteArray("42")
                               << qint64{0};
}

void TestNotifySocket::environment()
{
    QFETCH(QByteArray, socket);
    QFETCH(QByteArray, microseconds);
    QFETCH(QByteArray, process);
    QFETCH(qint64, watchdog);
    const auto read = ServiceEnvironment::fromValues(socket, microseconds, process, 42);
    QCOMPARE(read.notifySocket, socket);
    QCOMPARE(qint64(read.watchdog.count()), watchdog);
}

void TestNotifySocket::environmentIsTaken()
{
    qputenv("NOTIFY_SOCKET", "@test");
    qputenv("WATCHDOG_USEC", "1000");
    qputenv("WATCHDOG_PID", QByteArray::number(QCoreApplication::applicationPid()));
    const ServiceEnvironment first = ServiceEnvironment::take();
    QCOMPARE(first.notifySocket, QByteArray("@test"));
    QCOMPARE(qint64(first.watchdog.count()), qint64{1000});
    for (const char *name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        QVERIFY(!qEnvironmentVariableIsSet(name));
    const ServiceEnvironment second = ServiceEnvironment::take();
    QCOMPARE(second.notifySocket, QByteArray());
    QCOMPARE(qint64(second.watchdog.count()), qint64{0});
}

AGENT_TEST(TestNotifySocket)

} // namespace tst_notify_socket

#include "tst_notify_socket.moc"
