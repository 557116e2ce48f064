// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "support/NetFrames.h"
#include "support/TestCase.h"

#include <QSemaphore>

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
    QByteArray expected = enterReply;
    client.send(fragment(netframes::enter()));
    for (const QByteArray &frame : netframes::package(archive)) {
        if (!waitFor([&] { return client.received() == expected; }))
            return false;
        client.forget();
        client.send(fragment(frame));
        expected = blockReply;
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
        ConsoleSession session(
            [](ConsoleBench &bench) { bench.platform.pauses.beforeModuleReboot = 1ms; });
        ConsoleTestClient &client = *session.client;
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
        QTRY_COMPARE(session.shell.commands().last(), QString("sudo reboot"));
        QFile stored(session.platform.paths.netArchive);
        QVERIFY(stored.open(QIODevice::ReadOnly));
        QCOMPARE(stored.readAll(), archive);
    }

    void wrongDigestThenAgain()
    {
        ConsoleSession session(
            [](ConsoleBench &bench) { bench.platform.pauses.beforeModuleReboot = 1ms; });
        session.shell.digest = [](const QString &) { return QByteArray(32, '0'); };
        QVERIFY(sendPackage(*session.client, QByteArray(500, 'a')));
        QTRY_COMPARE(session.client->received(), logLine("NET package checksum error."));
        session.client->forget();
        session.shell.digest = RecordingShell::md5OfNamedFile;
        QVERIFY(sendPackage(*session.client, QByteArray(500, 'a')));
        QTRY_VERIFY(session.client->received().contains("NET firmware ver1.23 upgrade success."));
    }

    /** Answers go to the client of the last request, whichever client sends the pieces. */
    void answersNeedARequest()
    {
        ConsoleSession session;
        ConsoleTestClient other(session.server->port());
        other.send(fragment(netframes::enter()));
        QTRY_COMPARE(session.client->received(), enterReply);
        QCOMPARE(other.received(), QByteArray());
        QVERIFY(other.becomeTarget());
        other.send(fragment(netframes::enter()));
        QTRY_COMPARE(other.received(), enterReply);
    }

    void fragmentsOfOneRead()
    {
        ConsoleSession session;
        session.client->send(fragment(netframes::enter()) +
                             fragment(netframes::write(0, 0, QByteArray(256, 'a'))));
        QTRY_COMPARE(session.client->received(), enterReply + blockReply);
    }

    void refusedDuringARun()
    {
        ConsoleSession session(&ConsoleBench::recordRequests);
        session.client->send("UPGRADE||MAIN,0,1\r\n");
        QTRY_COMPARE(session.requests.size(), 3);
        session.client->send(fragment(netframes::enter()) +
                             fragment(netframes::write(0, 0, QByteArray(256, 'a'))));
        QTRY_COMPARE(session.client->received(), "UpgradeDatas||" + netframes::enterRefused +
                                                     "UpgradeDatas||" + netframes::blockRefused);
        QVERIFY(!QFile::exists(session.platform.paths.netArchive));
    }

    void busyWhileInstalling()
    {
        QSemaphore unpacking;
        ConsoleSession session([&](ConsoleBench &bench) {
            bench.platform.pauses.beforeModuleReboot = 1h;
            bench.usePackage("good.fwm");
            bench.shell.onRun = [&](const QString &command) {
                if (command.contains(" tar "))
                    unpacking.acquire();
            };
            bench.recordRequests();
        });
        ConsoleTestClient &client = *session.client;
        QVERIFY(sendPackage(client, QByteArray(500, 'a')));
        QTRY_VERIFY(client.received().endsWith(logLine("NET package upgrade 30%.")));

        const QByteArray requests =
            "UPGRADE||MAIN,0,1\r\nUPGRADEALL\r\nUPGRADEORVALE1G||1.2.3.4\r\nHEARTBEAT\r\n";
        const QByteArray busy = logLine("The device is busy upgrading.");
        client.forget();
        client.send(requests);
        QTRY_COMPARE(client.received(), busy + busy + "HEARTBEAT\r\n");
        unpacking.release();
        QTRY_VERIFY(client.received().endsWith(logLine("NET ready to reboot after 2 seconds.")));
        client.forget();
        client.send(requests);
        QTRY_COMPARE(client.received(), busy + busy + "HEARTBEAT\r\n");
        QVERIFY(session.requests.isEmpty());
    }
};

AGENT_TEST(TestNetPackage)

} // namespace tst_net_package

#include "tst_net_package.moc"
