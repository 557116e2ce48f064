// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "support/TestCase.h"

#include <QMetaMethod>

namespace tst_server {

using engine::RunEvents;

namespace {

const QByteArray unknown = "UPGRADELOG||Unknow command.\r\n";
const QByteArray busy = "UPGRADELOG||The device is busy upgrading.\r\n";
const QByteArray failed = "\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n";
const QByteArray succeeded = "\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n";

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

    void answers()
    {
        ConsoleSession session;
        session.client->send("HEARTBEAT\r\nVERSION\r\nwhat\r\nUPGRADEMODE||3\r\n"
                             "UP GRADE MODE||5\r\nUPGRADEMODE|| 05 \r\n"
                             "UPGRADEORVALE1G||1.2.3\r\nUPGRADEORVALE1G||1.2.3.4\r\n"
                             "PARSEEDID HEARTBEAT\r\nHEARTBEAT\n");
        QTRY_COMPARE(session.client->received(),
                     "HEARTBEAT\r\nVERSION||1.15\r\n" + unknown +
                         "UPGRADELOG||ERROR:UPGRADEMODE parameter error\r\n"
                         "UPGRADELOG||Set UPGRADEMODE to 5\r\n"
                         "UPGRADELOG||Set UPGRADEMODE to 05\r\n" +
                         unknown +
                         "UPGRADELOG||Firmware file does not exist.\r\n"
                         "PARSEEDID||ERROR:PARSEEDID parameter command.\r\nHEARTBEAT\r\n");
    }

    void upgradeAsksTheEngine()
    {
        ConsoleSession session(&ConsoleBench::recordRequests);
        session.client->send("UPGRADE||MAIN MCU,0,0||AUX,1||B,17,2,x\r\n");
        QTRY_COMPARE(session.requests, (QStringList{"disconnect", "connect ttyNoSuchPort",
                                                    "upload FW.fwm MAINMCU,0,0|B,17,2,x 2"}));
        QVERIFY(session.client->becomeTarget());
    }

    void upgradeAllAsksTheEngine()
    {
        for (const QByteArray &word : QByteArrayList{"UPGRADEALL", "GETVERINF"}) {
            ConsoleSession session([](ConsoleBench &bench) {
                bench.usePackage("good.fwm");
                bench.recordRequests();
            });
            session.client->send(word + "\r\nUPGRADE||MAIN,0,1\r\n");
            QTRY_VERIFY(session.client->received().endsWith("Version: 1.0.12\r\n" + busy));
            QCOMPARE(session.requests,
                     (QStringList{"disconnect", "connect ttyNoSuchPort",
                                  "upload FW.fwm MAIN-A,0,1|FPGA,17,1|NET,32,1 2"}));
        }
    }

    /** The engine has ended its run and the console does not know it: to the clients the run is on.
     */
    void endIsNotDeliveredYet()
    {
        ConsoleSession bench;
        ConsoleTestClient &client = *bench.client;
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
        ConsoleSession bench;
        ConsoleTestClient &client = *bench.client;
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
        ConsoleSession bench(&ConsoleBench::recordRequests);
        ConsoleTestClient &client = *bench.client;
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

    void networkLinkUp()
    {
        ConsoleSession bench([](ConsoleBench &bench) {
            bench.usePackage("good.fwm");
            bench.recordRequests();
        });
        ConsoleTestClient &client = *bench.client;
        client.send("UPGRADEMODE||5\r\n");
        QTRY_VERIFY(!client.received().isEmpty());
        client.forget();
        emit bench.server->worker()->netconnected();
        QCOMPARE(bench.requests, QStringList{"upload FW.fwm MAIN,0,1 5"});
        // The run has no status, but no other run may start during it.
        client.send("UPGRADE||MAIN,0,1\r\nUPGRADEALL\r\nUPGRADEORVALE1G||1.2.3.4\r\n");
        QTRY_COMPARE(client.received(), "UPGRADELOG||Device connected.\r\n"
                                        "UPGRADELOG||Firmware file checksum ok.\r\n"
                                        "UPGRADELOG||Firmware package version: 6\r\n"
                                        "UPGRADELOG||Model Name: MX-88\r\n"
                                        "UPGRADELOG||Version: 1.0.12\r\n" +
                                            busy + busy);
        QCOMPARE(bench.requests.size(), 1);
    }

    void edid()
    {
        ConsoleSession bench;
        bench.client->send("PARSEEDID||" + QByteArray("00 ").repeated(256).trimmed() + "\r\n");
        QTRY_COMPARE(bench.client->received(),
                     QByteArray("PARSEEDIDRESULT||EDID data header error !\r\n"));
    }

    void eventsOfTheAgent()
    {
        ConsoleSession bench(&ConsoleBench::recordRequests);
        bench.report({"APPSTATUS", "6"});
        bench.report({"APPSTATUS", "7"});
        QCOMPARE(bench.requests, (QStringList{"disconnect", "disconnect"}));
        bench.report({"UPGRADERESULT", "MAIN,0,1", "1"});
        bench.report({});
        bench.report({"Read model name."});
        emit bench.server->worker()->progressValueChanged(37.5, 100);
        QMetaObject::invokeMethod(bench.server.get(), "slotSignalEDID",
                                  Q_ARG(QList<QString>, (QList<QString>{"DEL,", "a@60Hz,", "x"})));
        bench.server->slotResponse(QByteArray::fromHex("ab00ff0d"));
        QTRY_COMPARE(bench.client->received(), succeeded + failed +
                                                   "UPGRADELOG||Read model name.\r\n"
                                                   "PROGRESSVALUE||37.50\r\n"
                                                   "PARSEEDIDRESULT||DEL,a@60Hz,x\r\n"
                                                   "UpgradeDatas||" +
                                                   QByteArray::fromHex("ab00ff0d"));
        QCOMPARE(bench.requests.size(), 2);
    }

    void replyTargetIsGone()
    {
        ConsoleSession bench;
        const auto other = bench.connectClient();
        QVERIFY(bench.client->becomeTarget());
        bench.client.reset();
        bench.report({"lost"});
        QTRY_COMPARE(bench.connections(), 1);
        bench.report({"lost too"});
        bench.server->slotResponse("lost as well");
        QVERIFY(other->becomeTarget());
    }
};

AGENT_TEST(TestServer)

} // namespace tst_server

#include "tst_server.moc"
