// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "support/NetFrames.h"
#include "support/TestCase.h"

#include <QSemaphore>
#include <QtTest>

namespace tst_net_package {

using namespace std::chrono_literals;

namespace {

QByteArray fragment(const QByteArray &payload)
{
    return "UpgradeDatas||" + payload + "\r\n";
}

const QByteArray enterReply = "UpgradeDatas||" + netframes::enterAccepted;
const QByteArray blockReply = "UpgradeDatas||" + netframes::blockAccepted;

/** Sends each frame as a fragment and waits for its reply, except the last one's. */
bool sendPackage(ConsoleTestClient &client, const QByteArray &archive)
{
    QList<QByteArray> frames = netframes::package(archive);
    frames.prepend(netframes::enter());
    for (int i = 0; i < frames.size(); ++i) {
        client.forget();
        client.send(fragment(frames.at(i)));
        if (i == frames.size() - 1)
            break;
        const QByteArray expected = i == 0 ? enterReply : blockReply;
        if (!waitFor([&] { return client.received() == expected; }))
            return false;
    }
    return true;
}

QByteArray logLine(const QByteArray &text)
{
    return "UPGRADELOG||" + text + "\r\n";
}

} // namespace

class TestNetPackage : public QObject
{
    Q_OBJECT

private slots:
    void wholePackage()
    {
        ConsoleBench bench;
        bench.platform.pauses.beforeModuleReboot = 1ms;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        // Every value of a byte, line ends and the fragment's own key among them.
        QByteArray archive;
        for (int i = 0; i < 3000; ++i)
            archive.append(char(i * 31 % 255));
        archive.append("\r\nUpgradeDatas||\r\n");
        QVERIFY(sendPackage(client, archive));
        QTRY_COMPARE(client.received(),
                     logLine("NET package checksum OK.") + "PROGRESSVALUE||30.00\r\n" +
                         logLine("NET package upgrade 30%.") + "PROGRESSVALUE||70.00\r\n" +
                         logLine("NET package upgrade 70%.") + "PROGRESSVALUE||80.00\r\n" +
                         logLine("NET package upgrade 80%.") +
                         logLine("NET firmware checksum success.") +
                         logLine("Create version file success") + "NETVERSION||1.23\r\n" +
                         "PROGRESSVALUE||90.00\r\n" + logLine("NET package upgrade 90%.") +
                         logLine("NET firmware ver1.23 upgrade success.") +
                         "UpgradeDatas||WriteIsUgradingTrue" +
                         logLine("NET ready to reboot after 2 seconds."));
        QTRY_COMPARE(bench.shell.commands().last(), QString("sudo reboot"));
        QFile stored(bench.platform.paths.netArchive);
        QVERIFY(stored.open(QIODevice::ReadOnly));
        QCOMPARE(stored.readAll(), archive);
    }

    void wrongDigestThenAgain()
    {
        ConsoleBench bench;
        bench.platform.pauses.beforeModuleReboot = 1ms;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        bench.shell.digest = [](const QString &) { return QByteArray(32, '0'); };
        QVERIFY(sendPackage(client, QByteArray(500, 'a')));
        QTRY_COMPARE(client.received(), logLine("NET package checksum error."));
        bench.shell.digest = RecordingShell::md5OfNamedFile;
        QVERIFY(sendPackage(client, QByteArray(500, 'a')));
        QTRY_VERIFY(client.received().contains("NET firmware ver1.23 upgrade success."));
    }

    void needsARequestFirst()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send(fragment(netframes::enter()));
        QVERIFY(bench.settle());
        QCOMPARE(client.received(), QByteArray());
        QVERIFY(client.becomeTarget());
        client.send(fragment(netframes::enter()));
        QTRY_COMPARE(client.received(), enterReply);
    }

    void fragmentsOfOneRead()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        client.send(fragment(netframes::enter()) +
                    fragment(netframes::write(0, 0, QByteArray(256, 'a'))));
        QTRY_COMPARE(client.received(), enterReply + blockReply);
    }

    void fragmentInTwoReads()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        const QByteArray whole = fragment(netframes::enter());
        client.send(whole.left(20));
        QVERIFY(bench.settle());
        client.send(whole.mid(20));
        QTRY_COMPARE(client.received(), QByteArray("UPGRADELOG||Unknow command.\r\n"));
    }

    void shortestFragment()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send(fragment({}));
        QVERIFY(bench.settle());
        client.send("VERSION\r\n");
        QTRY_COMPARE(client.received(), QByteArray("VERSION||1.15\r\n"));
    }

    void rebootDone()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        QSignalSpy pieces(bench.server.get(), &TCPServer::signalReceiveData);
        client.send(fragment("xxRebootDone" + netframes::enter()));
        QTRY_COMPARE(client.received(), blockReply + "UpgradeDatas||WriteIsUgradingFalse");
        QCOMPARE(pieces.count(), 0);
    }

    void refusedDuringARun()
    {
        ConsoleBench bench;
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send("UPGRADE||MAIN,0,1\r\n");
        QTRY_COMPARE(bench.requests.size(), 3);
        client.send(fragment(netframes::enter()));
        QTRY_COMPARE(client.received(), "UpgradeDatas||" + netframes::enterRefused);
        client.forget();
        client.send(fragment(netframes::write(0, 0, QByteArray(256, 'a'))));
        QTRY_COMPARE(client.received(), "UpgradeDatas||" + netframes::blockRefused);
        QVERIFY(!QFile::exists(bench.platform.paths.netArchive));
    }

    void busyWhileInstalling()
    {
        ConsoleBench bench;
        bench.platform.pauses.beforeModuleReboot = 1h;
        bench.usePackage("good.fwm");
        QSemaphore unpacking;
        bench.shell.onRun = [&](const QString &command) {
            if (command.contains(" tar "))
                unpacking.acquire();
        };
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        QVERIFY(sendPackage(client, QByteArray(500, 'a')));
        QTRY_VERIFY(client.received().endsWith(logLine("NET package upgrade 30%.")));

        const QByteArray requests =
            "UPGRADE||MAIN,0,1\r\nUPGRADEALL\r\nUPGRADEORVALE1G||1.2.3.4\r\nHEARTBEAT\r\n";
        const QByteArray busy = "UPGRADELOG||The device is busy upgrading.\r\n";
        client.forget();
        client.send(requests);
        QTRY_COMPARE(client.received(), busy + busy + "HEARTBEAT\r\n");
        unpacking.release();
        QTRY_VERIFY(client.received().endsWith(logLine("NET ready to reboot after 2 seconds.")));
        client.forget();
        client.send(requests);
        QTRY_COMPARE(client.received(), busy + busy + "HEARTBEAT\r\n");
        QVERIFY(bench.requests.isEmpty());
    }
};

AGENT_TEST(TestNetPackage)

} // namespace tst_net_package

#include "tst_net_package.moc"
