// SPDX-License-Identifier: Apache-2.0
#include "client/RunConversation.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QJsonArray>
#include <QTcpServer>
#include <QTcpSocket>

namespace client::tst_conversation {

namespace {

using namespace std::chrono_literals;

const QByteArray heartbeat = "HEARTBEAT\r\n";
const QByteArray busy = "UPGRADELOG||The device is busy upgrading.\r\n";
const QByteArray package =
    "FIRMWARELIST||{\"model\":\"M\",\"version\":\"V1.2.3\",\"chips\":[]}\r\n";
const QByteArray modeSet = "UPGRADELOG||Set UPGRADEMODE to 2\r\n";
const QByteArray success = "\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n";
const QByteArray written = "UPGRADELOG||Write firmware 'A' success.\r\n";
const QByteArray rebooting = "UPGRADELOG||Send reboot command.\r\n";

/** An agent that replies to each line by a table; it has one client. */
class ScriptedAgent
{
public:
    ScriptedAgent()
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("cannot listen");
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            m_client = m_server.nextPendingConnection();
            QObject::connect(m_client, &QTcpSocket::readyRead, m_client, [this] { answer(); });
        });
    }

    quint16 port() const { return m_server.serverPort(); }
    void send(const QByteArray &bytes) { m_client->write(bytes); }
    void drop()
    {
        m_client->disconnectFromHost();
        m_client = nullptr;
    }
    void setReply(const QByteArray &request, const QByteArray &reply)
    {
        m_replies[request] = reply;
    }
    const QList<QByteArray> &requests() const { return m_requests; }

private:
    void answer()
    {
        while (m_client && m_client->canReadLine()) {
            m_requests += m_client->readLine().trimmed();
            m_client->write(m_replies.value(m_requests.last()));
        }
    }

    QTcpServer m_server;
    QTcpSocket *m_client = nullptr;
    QMap<QByteArray, QByteArray> m_replies{
        {"HEARTBEAT", heartbeat}, {"GETFIRMWARELIST", package}, {"UPGRADEMODE||2", modeSet}};
    QList<QByteArray> m_requests;
};

/** A conversation and what it reported, one line for each signal. */
struct Bench
{
    ScriptedAgent agent;
    QStringList seen;
    CommandOutcome result;
    std::unique_ptr<RunConversation> talk;

    explicit Bench(bool waitsBack = false, std::chrono::milliseconds timeOut = 60s)
        : talk(new RunConversation({QStringLiteral("127.0.0.1"), agent.port(), timeOut, waitsBack}))
    {
        QObject::connect(talk.get(), &RunConversation::listed, [this](const auto &package) {
            seen += QStringLiteral("listed ") + package.model;
        });
        QObject::connect(talk.get(), &RunConversation::begun, [this] { seen += "begun"; });
        QObject::connect(talk.get(), &RunConversation::lineReceived,
                         [this](const QString &line) { seen += "line " + line; });
        QObject::connect(talk.get(), &RunConversation::notStarted,
                         [this](ProblemId cause, const QString &) {
                             seen += QStringLiteral("not started ") + problemRow(cause).id;
                         });
        QObject::connect(talk.get(), &RunConversation::ended,
                         [this](const CommandOutcome &outcome) {
                             result = outcome;
                             seen += QStringLiteral("ended %1").arg(int(outcome.exit));
                         });
    }

    /** As far as the lines of the run. */
    void begin()
    {
        prepareAndStart();
        QTRY_COMPARE(agent.requests().size(), 5);
    }

    void prepareAndStart()
    {
        QObject::connect(talk.get(), &RunConversation::listed, [this] { start(); });
        talk->prepare();
    }

    void start()
    {
        RunRequest request;
        request.line = "UPGRADE||A,1,0";
        request.model = UpgradeModel({{QStringLiteral("A"), 1, 0, QStringLiteral("1.2.3")}});
        talk->start(request);
    }
};

} // namespace

class TestConversation : public QObject
{
    Q_OBJECT

private slots:
    void followsARunFromTheFirstQuestionToItsResult()
    {
        Bench bench;
        bench.prepareAndStart();
        const QList<QByteArray> requests{"UPGRADE||", "HEARTBEAT", "GETFIRMWARELIST",
                                         "UPGRADEMODE||2", "UPGRADE||A,1,0"};
        QTRY_COMPARE(bench.agent.requests(), requests);
        bench.agent.send(written + success);
        QTRY_COMPARE(bench.seen, (QStringList{"listed M", "begun",
                                              "line Write firmware 'A' success.", "ended 0"}));
        QCOMPARE(bench.result.json["summary"].toString(), QStringLiteral("1 MCU updated."));
        QVERIFY(!bench.result.problem);
    }

    void refuses_data()
    {
        const tests::DataTable<QByteArray, QByteArray, QStringList> row("request", "reply", "seen");
        row("busy", "UPGRADE||", busy, {"not started busy"});
        row("no package", "GETFIRMWARELIST", "FIRMWARELIST||Firmware file does not exist.\r\n",
            {"not started package-missing"});
        row("mode", "UPGRADEMODE||2", "UPGRADELOG||ERROR:UPGRADEMODE parameter error\r\n",
            {"listed M", "not started mode-refused"});
        row("busy since the question", "UPGRADE||A,1,0", busy,
            {"listed M", "begun", "not started busy"});
    }

    void refuses()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, reply);
        QFETCH(QStringList, seen);
        Bench bench;
        bench.agent.setReply(request, reply);
        bench.prepareAndStart();
        QTRY_COMPARE(bench.seen, seen);
    }

    void aSilentAgentEndsEveryStage_data()
    {
        const tests::DataTable<QByteArray, QString> row("request", "last");
        row("asking", "HEARTBEAT", "not started no-sign-of-life");
        row("listing", "GETFIRMWARELIST", "not started no-sign-of-life");
        row("mode", "UPGRADEMODE||2", "not started no-sign-of-life");
        // Heartbeats are answered, but the run is not heard of, and the device is not busy.
        row("run", "UPGRADE||A,1,0", "not started not-started");
    }

    void aSilentAgentEndsEveryStage()
    {
        QFETCH(QByteArray, request);
        QFETCH(QString, last);
        Bench bench(false, 300ms);
        bench.agent.setReply(request, {});
        bench.prepareAndStart();
        QTRY_VERIFY(!bench.seen.isEmpty() && bench.seen.last() == last);
    }

    void reportsTheLikelyStateAfterALostConnection()
    {
        Bench bench(true);
        bench.begin();
        bench.agent.drop();
        QTRY_COMPARE(bench.seen.last(), QStringLiteral("ended 6"));
        QCOMPARE(bench.result.problem->id, ProblemId::ConnectionLost);
        QVERIFY(!bench.result.json["likely_state"].toArray().isEmpty());
    }

    void isSilentWhenItIsDestroyed()
    {
        Bench bench;
        bench.begin();
        bench.talk.reset();
        QCOMPARE(bench.seen, (QStringList{"listed M", "begun"}));
    }

    void isSilentOnceItIsClosed()
    {
        Bench bench;
        bench.begin();
        bench.talk->close();
        bench.agent.send(written + success);
        bench.talk->interrupt();
        settle();
        QCOMPARE(bench.seen, (QStringList{"listed M", "begun"}));
    }
};

AGENT_TEST(TestConversation)

} // namespace client::tst_conversation

#include "tst_conversation.moc"
