// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "support/TestCase.h"

#include <QMetaMethod>
#include <QtTest>

namespace tst_server {

using engine::RunEvents;

namespace {

const QByteArray unknown = "UPGRADELOG||Unknow command.\r\n";
const QByteArray busy = "UPGRADELOG||The device is busy upgrading.\r\n";
const QByteArray disconnected = "\r\nDISCONNECTCOM\r\n";
const QByteArray failed = disconnected + "\r\nUPGRADEFAIL\r\n";
const QByteArray succeeded = disconnected + "\r\nUPGRADESUCCESS\r\n";

/** The request line of a dump of `fields` bytes, all but the first 8 of them zero. */
QByteArray edidLine(int fields, const QByteArray &header)
{
    QByteArrayList texts;
    for (int i = 0; i < fields; ++i)
        texts.append(i < header.size() ? header.mid(i, 1).toHex() : QByteArray("00"));
    return "PARSEEDID||" + texts.join(' ') + "\r\n";
}

} // namespace

class TestServer : public QObject
{
    Q_OBJECT

private slots:
    void interface()
    {
        const QMetaObject &meta = TCPServer::staticMetaObject;
        QList<QByteArray> methods;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            const char *const kind = method.methodType() == QMetaMethod::Signal ? "signal "
                                     : method.access() == QMetaMethod::Private  ? "private slot "
                                                                                : "public slot ";
            // The other signals are between the agent's own parts.
            if (method.methodType() != QMetaMethod::Signal || method.name() == "signalReceiveData")
                methods.append(kind + method.methodSignature());
        }
        // As moc writes it.
        const QByteArray normalList = QT_VERSION_MAJOR < 6 ? "QList<QString>" : "QStringList";
        QCOMPARE(methods, (QList<QByteArray>{
                              "signal signalReceiveData(QByteArray)",
                              "private slot NewConnectionSlot()",
                              "private slot disconnectedSlot()",
                              "private slot ReadData()",
                              "private slot message(QStringList)",
                              "private slot progressValueChanged(double,double)",
                              "private slot slotnetconnected()",
                              "private slot slotSignalEDID(" + normalList + ")",
                              "public slot slotResponse(QByteArray)",
                          }));
        const QMetaMethod response = meta.method(meta.methodCount() - 1);
        QCOMPARE(response.parameterNames(), QList<QByteArray>{"datas"});
    }

    void answers_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QByteArray>("received");
        const auto row = [](const char *sent, const QByteArray &received) {
            QTest::newRow(sent) << QByteArray(sent) << received;
        };
        row("HEARTBEAT\n", "HEARTBEAT\r\n");
        row("HEARTBEAT\r\nVERSION\r\n", "HEARTBEAT\r\nVERSION||1.15\r\n");
        row("what\r\n", unknown);
        row("UPGRADEMODE||3\r\n", "UPGRADELOG||ERROR:UPGRADEMODE parameter error\r\n");
        row("UP GRADE MODE||5\r\n", "UPGRADELOG||Set UPGRADEMODE to 5\r\n");
        row("UPGRADEMODE|| 05 \r\n", "UPGRADELOG||Set UPGRADEMODE to 05\r\n");
        row("UPGRADEORVALE1G||1.2.3\r\n", unknown);
        row("UPGRADEORVALE1G||1.2.3.4\r\n", "UPGRADELOG||Firmware file does not exist.\r\n");
        row("PARSEEDID HEARTBEAT\r\n", "PARSEEDID||ERROR:PARSEEDID parameter command.\r\n");
    }

    /** A VERSION request ends each exchange, so that surplus replies are seen. */
    void answers()
    {
        QFETCH(QByteArray, sent);
        QFETCH(QByteArray, received);
        ConsoleBench bench;
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send(sent);
        QTRY_VERIFY(client.received().size() >= received.size());
        client.send("\rVERSION\r\n");
        QTRY_COMPARE(client.received(), received + "VERSION||1.15\r\n");
    }

    void upgradeAsksTheEngine()
    {
        ConsoleBench bench;
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send("UPGRADE||MAIN MCU,0,0||AUX,1||B,17,2,x\r\n");
        QTRY_COMPARE(bench.requests, (QStringList{"disconnect", "connect ttyNoSuchPort",
                                                  "upload FW.fwm MAINMCU,0,0|B,17,2,x 2"}));
        client.send("VERSION\r\n");
        QTRY_COMPARE(client.received(), QByteArray("VERSION||1.15\r\n"));
    }

    void upgradeAllAsksTheEngine()
    {
        for (const QByteArray &word : QByteArrayList{"UPGRADEALL", "GETVERINF"}) {
            ConsoleBench bench;
            bench.usePackage("good.fwm");
            bench.recordRequests();
            bench.start();
            ConsoleTestClient client(bench.server->port());
            client.send(word + "\r\n");
            QTRY_COMPARE(bench.requests,
                         (QStringList{"disconnect", "connect ttyNoSuchPort",
                                      "upload FW.fwm MAIN-A,0,1|FPGA,17,1|NET,32,1 2"}));
            QTRY_VERIFY(client.received().endsWith("Version: 1.0.12\r\n"));
            client.forget();
            client.send("UPGRADE||MAIN,0,1\r\n");
            QTRY_COMPARE(client.received(), busy);
        }
    }

    void busyUntilTheEnd()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        // The engine finds no package; both requests arrive in one read.
        client.send("UPGRADE||MAIN,0,1\r\nUPGRADE||MAIN,0,1\r\n");
        QTRY_VERIFY(client.received().contains("\r\nUPGRADEFAIL\r\n"));
        QCOMPARE(client.received().count(busy), 1);
        QVERIFY(client.received().indexOf(busy) < client.received().indexOf("UPGRADEFAIL"));
        QTRY_VERIFY(!bench.server->worker()->runActive());
        client.forget();
        client.send("UPGRADE||MAIN,0,1\r\n");
        QTRY_VERIFY(client.received().contains("\r\nUPGRADEFAIL\r\n"));
        QVERIFY(!client.received().contains(busy));
    }

    /** The engine has ended its run and the console does not know it: to the clients the run is on.
     */
    void endIsNotDeliveredYet()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        bench.server->worker()->uploadByMergeFW(bench.platform.paths.package, {"MAIN,0,1"}, 2);
        QVERIFY(bench.runsEndUndelivered(1));
        client.send("GETFIRMWARELIST\r\n");
        bench.readWithoutTheLoop(client);
        client.send("UPGRADE||MAIN,0,1\r\n");
        bench.readWithoutTheLoop(client);
        QTRY_VERIFY(client.received().contains("\r\nUPGRADEFAIL\r\n"));
        const QByteArray replies =
            "FIRMWARELIST||ERROR:Firmware file is not exist.\r\n" + busy + failed + failed;
        QVERIFY2(client.received().startsWith(replies), client.received().constData());
        QCOMPARE(bench.endedRuns.load(), 1);
    }

    /** The late status of the first run would close the port of the second one. */
    void endOfANetworkRunIsNotDeliveredYet()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        emit bench.server->worker()->netconnected();
        QVERIFY(bench.runsEndUndelivered(1));
        client.forget();
        client.send("UPGRADE||MAIN,0,1\r\n");
        bench.readWithoutTheLoop(client);
        QTRY_VERIFY(!bench.server->worker()->runActive());
        // The missing package is reported by the list that begins such a run, and then by the run.
        const int refusal = client.received().indexOf(busy);
        QVERIFY2(refusal > 0, client.received().constData());
        QCOMPARE(client.received().left(refusal).count(failed), 2);
        QTRY_COMPARE(client.received().mid(refusal).count(failed), 2);
        QCOMPARE(bench.endedRuns.load(), 1);
    }

    /** The same with an engine that does nothing by itself, and with what follows: the client that
     * has read the verdict is not refused. */
    void endIsAnnouncedOnly()
    {
        ConsoleBench bench;
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        const QByteArray list = "FIRMWARELIST||ERROR:Firmware file is not exist.\r\n";
        auto *const events = bench.engine()->findChild<RunEvents *>();
        for (qint64 run = 1; run <= 3; ++run) {
            bench.requests.clear();
            client.forget();
            client.send("UPGRADE||MAIN,0,1\r\n");
            QTRY_COMPARE(bench.requests.size(), 3);
            emit events->ending(run);
            client.send("GETFIRMWARELIST\r\nUPGRADE||MAIN,0,1\r\nUPGRADEALL\r\nVERSION\r\n");
            QTRY_COMPARE(client.received(), list + busy + "VERSION||1.15\r\n");
            client.forget();
            emit bench.engine()->message({"APPSTATUS", "6"});
            QTRY_COMPARE(client.received(), succeeded);
            emit events->over(run - 1); // a late one of the run before
        }
        client.send("GETFIRMWARELIST\r\n");
        QTRY_VERIFY(client.received().endsWith(list));
        QCOMPARE(client.received().count(failed), 2);
    }

    void firmwareList()
    {
        ConsoleBench bench;
        bench.usePackage("good.fwm");
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send("GETFIRMWARELIST\r\n");
        QTRY_VERIFY(client.received().contains("FIRMWARELIST||"));
        const QByteArray transcript = client.received();
        QVERIFY2(transcript.startsWith("UPGRADELOG||Firmware file checksum ok.\r\n"
                                       "UPGRADELOG||Firmware package version: 6\r\n"
                                       "UPGRADELOG||Model Name: MX-88\r\n"
                                       "UPGRADELOG||Version: 1.0.12\r\n"
                                       "FIRMWARELIST||{\"model\":\"MX-88\","),
                 transcript.constData());
        QVERIFY(transcript.endsWith("}]}]}]}\r\n"));
    }

    void firmwareListWithoutPackage()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send("GETFIRMWARELIST\r\n");
        const QByteArray reply = "FIRMWARELIST||ERROR:Firmware file is not exist.\r\n";
        QTRY_VERIFY(client.received().contains(reply));
        QVERIFY(client.received().startsWith(failed));
    }

    void networkLinkUp()
    {
        ConsoleBench bench;
        bench.usePackage("good.fwm");
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send("UPGRADEMODE||5\r\n");
        QTRY_VERIFY(!client.received().isEmpty());
        client.forget();
        emit bench.server->worker()->netconnected();
        QCOMPARE(bench.requests, QStringList{"upload FW.fwm MAIN,0,1 5"});
        QTRY_COMPARE(client.received(), QByteArray("UPGRADELOG||Device connected.\r\n"
                                                   "UPGRADELOG||Firmware file checksum ok.\r\n"
                                                   "UPGRADELOG||Firmware package version: 6\r\n"
                                                   "UPGRADELOG||Model Name: MX-88\r\n"
                                                   "UPGRADELOG||Version: 1.0.12\r\n"));
        // The run has no status, but no other run may start during it.
        client.forget();
        client.send("UPGRADE||MAIN,0,1\r\nUPGRADEALL\r\nUPGRADEORVALE1G||1.2.3.4\r\n");
        QTRY_COMPARE(client.received(), busy + busy);
        QCOMPARE(bench.requests.size(), 1);
    }

    void edid()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        const QByteArray header = QByteArray::fromHex("00ffffffffffff00");
        for (const auto &[line, reply] : QList<QPair<QByteArray, QByteArray>>{
                 {edidLine(255, header), "PARSEEDID||ERROR:PARSEEDID parameter command.\r\n"},
                 {edidLine(256, header), "PARSEEDIDRESULT||@@@,"},
                 {edidLine(256, {}), "PARSEEDIDRESULT||EDID data header error !\r\n"},
                 {edidLine(256, header).replace("PARSEEDID", "HEARTBEAT PARSEEDID"),
                  "PARSEEDIDRESULT||@@@,"}}) {
            client.forget();
            client.send(line);
            QTRY_VERIFY(client.received().endsWith("\r\n"));
            QVERIFY2(client.received().startsWith(reply), client.received().constData());
            QCOMPARE(client.received().count('\n'), 1);
        }
    }

    void edidResult()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        QMetaObject::invokeMethod(bench.server.get(), "slotSignalEDID",
                                  Q_ARG(QList<QString>, (QList<QString>{"DEL,", "a@60Hz,", "x"})));
        QTRY_COMPARE(client.received(), QByteArray("PARSEEDIDRESULT||DEL,a@60Hz,x\r\n"));
    }

    void engineMessages_data()
    {
        const tests::DataTable<QStringList, QByteArray> rows("message", "received");
        rows("success", {"APPSTATUS", "6"}, succeeded);
        rows("failure", {"APPSTATUS", "7"}, failed);
        rows("row result", {"UPGRADERESULT", "MAIN,0,1", "1"}, "");
        rows("log line", {"Read model name."}, "UPGRADELOG||Read model name.\r\n");
        rows("nothing", {}, "");
    }

    void engineMessages()
    {
        QFETCH(QStringList, message);
        QFETCH(QByteArray, received);
        ConsoleBench bench;
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        bench.report(message);
        bench.report({"end"});
        QTRY_COMPARE(client.received(), received + "UPGRADELOG||end\r\n");
        const bool ends = !message.isEmpty() && message.first() == "APPSTATUS";
        QCOMPARE(bench.requests, ends ? QStringList{"disconnect"} : QStringList());
    }

    void progress()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        emit bench.server->worker()->progressValueChanged(37.5, 100);
        QTRY_COMPARE(client.received(), QByteArray("PROGRESSVALUE||37.50\r\n"));
    }

    void blockReplies()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QVERIFY(client.becomeTarget());
        bench.server->slotResponse(QByteArray::fromHex("ab00ff0d"));
        QTRY_COMPARE(client.received(), "UpgradeDatas||" + QByteArray::fromHex("ab00ff0d"));
    }

    void replyTargetIsGone()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient other(bench.server->port());
        {
            ConsoleTestClient client(bench.server->port());
            client.send("HEARTBEAT\r\n");
            QTRY_VERIFY(!client.received().isEmpty());
        }
        bench.report({"lost"});
        QTRY_COMPARE(bench.server->findChildren<QTcpSocket *>().size(), 1);
        bench.report({"lost too"});
        bench.server->slotResponse("lost as well");
        other.send("VERSION\r\n");
        QTRY_COMPARE(other.received(), QByteArray("VERSION||1.15\r\n"));
    }
};

AGENT_TEST(TestServer)

} // namespace tst_server

#include "tst_server.moc"
