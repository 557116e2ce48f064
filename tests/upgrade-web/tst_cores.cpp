// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "upgrade-web/EventLog.h"
#include "upgrade-web/Gate.h"
#include "upgrade-web/History.h"
#include "upgrade-web/PageAdvice.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace web::tst_cores {

namespace {

using namespace std::chrono_literals;

/** Words that differ: "1", "2" and so on. */
Sessions::Secret numbers()
{
    return [count = 0]() mutable { return QByteArray::number(++count); };
}

Request requestFor(const QByteArray &method, const QByteArray &path, const Fields &headers)
{
    Request request;
    request.method = method;
    request.path = path;
    request.headers = headers;
    return request;
}

GateSettings settingsFor(const QString &host, quint16 port)
{
    GateSettings settings;
    settings.hosts = QStringList{host};
    settings.port = port;
    settings.hasPassword = true;
    return settings;
}

ProblemId checked(Gate &gate, const Request &request)
{
    return gate.check(request, *routeOf(request.method, request.path).route, {});
}

} // namespace

class TestCores : public QObject
{
    Q_OBJECT

private slots:
    void aSessionEndsWhenItIsIdleOrOld()
    {
        Sessions sessions(numbers());
        const QByteArray idle = sessions.begin({}).id;
        QVERIFY(sessions.use(idle, 60min));
        QVERIFY(!sessions.use(idle, 121min));
        const QByteArray old = sessions.begin({}).id;
        for (std::chrono::minutes now{}; now <= 12h; now += 30min)
            QVERIFY(sessions.use(old, now));
        QVERIFY(!sessions.use(old, 12h + 1min));
        QVERIFY(!sessions.use({}, {}));
    }

    void theNumberOfSessionsIsBounded()
    {
        Sessions sessions(numbers());
        const Session first = sessions.begin({});
        const Session second = sessions.begin(1s);
        QVERIFY(sessions.use(first.id, 2s));
        for (int i = 0; i < 31; ++i)
            sessions.begin(3s);
        QVERIFY(sessions.use(first.id, 4s));
        QVERIFY(!sessions.use(second.id, 4s));
    }

    void anAddressIsLockedForAWhile()
    {
        LoginLimit limit;
        for (int i = 0; i < 5; ++i) {
            QCOMPARE(limit.lockedFor("a", {}).count(), 0);
            limit.addFailure("a", {});
        }
        QVERIFY(limit.lockedFor("a", 1s) == 15min - 1s);
        QCOMPARE(limit.lockedFor("b", 1s).count(), 0);
        QCOMPARE(limit.lockedFor("a", 15min).count(), 0);
        for (int i = 0; i < 1100; ++i)
            limit.addFailure(QString::number(i), 1min);
        // The oldest address is forgotten, the newest is not.
        QCOMPARE(limit.lockedFor("a", 1min).count(), 0);
        limit.clear("1099");
    }

    void aProxyDecidesOverAddressAndCookie()
    {
        GateSettings settings = settingsFor("module.example", 8353);
        settings.hasProxy = true;
        Gate gate(settings, numbers());
        Request request = requestFor("GET", "/api/status", {{"Host", "module.example"}});
        request.peer = "127.0.0.1";
        QCOMPARE(gate.addressOf(request), QStringLiteral("127.0.0.1"));
        request.headers +=
            qMakePair(QByteArray("X-Forwarded-For"), QByteArray("10.9.9.9, 192.0.2.7"));
        QCOMPARE(gate.addressOf(request), QStringLiteral("192.0.2.7"));
        Gate::Access access;
        const QByteArray cookie = gate.logIn({}, access);
        QVERIFY(cookie.endsWith("; Path=/; HttpOnly; SameSite=Strict; Secure"));
        QCOMPARE(checked(gate, request), ProblemId::LoginNeeded);
        request.cookies = {{"upgrade_web_session", cookie.split(';').first().split('=').last()}};
        QCOMPARE(checked(gate, request), ProblemId::None);
        request.cookies += request.cookies;
        QCOMPARE(checked(gate, request), ProblemId::LoginNeeded);
    }

    void metricsMayBeOpen()
    {
        GateSettings settings = settingsFor("localhost", 80);
        const Request request = requestFor("GET", "/metrics", {{"Host", "localhost"}});
        Gate closed(settings, numbers());
        QCOMPARE(checked(closed, request), ProblemId::LoginNeeded);
        settings.hasOpenMetrics = true;
        Gate open(settings, numbers());
        QCOMPARE(checked(open, request), ProblemId::None);
        const Request twice =
            requestFor("GET", "/metrics", {{"Host", "localhost"}, {"host", "localhost"}});
        QCOMPARE(checked(open, twice), ProblemId::RequestRefused);
    }

    void theLogHasTheLastEventsOnly()
    {
        EventLog log("ab", 3);
        for (int i = 1; i <= 5; ++i)
            log.append({{"event", "phase"}, {"n", i}, {"text", "a\nb"}});
        QCOMPARE(log.newest(), qint64(5));
        QVERIFY(log.hasAllAfter(2));
        QVERIFY(!log.hasAllAfter(1));
        const QByteArray frame = log.frame(3);
        QVERIFY(frame.startsWith("id: ab-3\nevent: phase\ndata: {"));
        QVERIFY(frame.endsWith("}\n\n"));
        QCOMPARE(frame.count('\n'), 4);
        QCOMPARE(log.numberOf("ab-4"), std::optional<qint64>(4));
        for (const char *id :
             {"", "ab", "cd-4", "ab-6", "ab--1", "ab-x", "ab-99999999999999999999"})
            QVERIFY2(!log.numberOf(id), id);
    }

    void theHistoryIsBoundedAndSurvivesADamagedFile()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath("history.json");
        History history(path);
        for (int i = 0; i < 60; ++i)
            QVERIFY(history.add({{"id", i}}));
        QCOMPARE(history.runs().size(), 50);
        QCOMPARE(History(path).runs(), history.runs());
        QCOMPARE(history.runs().first().toObject()["id"].toInt(), 59);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[{\"id\": 1}, 7, ");
        file.close();
        QVERIFY(History(path).runs().isEmpty());
        QVERIFY(!History("/proc/none/history.json").add({{"id", 1}}));
    }

    void theMetricsHaveTheLastRun()
    {
        Metrics metrics;
        metrics.runs = {{"done", 2}, {"failed", 1}};
        metrics.seconds = 61.5;
        metrics.bytes = 123456789;
        const QByteArray text = metricsText(metrics, MetricsForm::Open);
        QCOMPARE(text,
                 QByteArray(
                     R"(# HELP upgrade_agent_reachable Whether the agent answered the last question.
# TYPE upgrade_agent_reachable gauge
upgrade_agent_reachable 0
# HELP upgrade_runs Runs since the start of the server.
# TYPE upgrade_runs counter
upgrade_runs_total{result="done"} 2
upgrade_runs_total{result="failed"} 1
# HELP upgrade_last_run_duration_seconds Duration of the last run that has ended.
# TYPE upgrade_last_run_duration_seconds gauge
upgrade_last_run_duration_seconds 61.5
# HELP upgrade_last_run_bytes Bytes of the images that the last run has written.
# TYPE upgrade_last_run_bytes gauge
upgrade_last_run_bytes 123456789
# EOF
)"));
    }

    /** A person at the page has no terminal. */
    void noAdviceOnThePageNamesACommand()
    {
        static const QRegularExpression command(
            "(?<![a-z])'[a-z]+(-[a-z]+)* "
            "[a-z-]|'(attach|edid-report|list|ping|upgrade|yes)'|(?<![.\\w])fwm |--");
        // Only of other programs, and of this one before it serves a page; its options are for the
        // administrator of the module.
        const QVector<ProblemId> others{ProblemId::Usage,          ProblemId::Interrupted,
                                        ProblemId::PackageDiffers, ProblemId::PackageUnsound,
                                        ProblemId::SshFailed,      ProblemId::CopyDamaged,
                                        ProblemId::CopyNotListed,  ProblemId::RequestRefused,
                                        ProblemId::UploadTooLarge, ProblemId::PasswordUnusable};
        int checked = 0;
        for (const ProblemRow &row : problemTable()) {
            const bool isMaking =
                row.problem >= ProblemId::RequestTooLong && row.problem < ProblemId::LoginNeeded;
            if (isMaking || others.contains(row.problem))
                continue;
            ++checked;
            const QString advice = pageAdvice(row.problem);
            QVERIFY2(!command.match(advice).hasMatch(), qUtf8Printable(advice));
            QVERIFY2(advice.endsWith('.'), row.id);
        }
        QVERIFY(checked > 50);
    }

    void everyProblemOfADocumentHasTheAdviceOfThePage()
    {
        const ProblemRow &row = problemRow(ProblemId::Busy);
        const QString ofPage = QString::fromLatin1(row.pageAdvice);
        QVERIFY(!ofPage.isEmpty());
        const QJsonObject problem{{"id", row.id}, {"advice", row.advice}};
        const QJsonObject ofCase{{"id", row.id}, {"advice", "Of this case."}};
        const QJsonObject wanted{{"id", row.id}, {"advice", ofPage}};
        const QJsonObject unknown{{"id", "other"}, {"advice", "Any."}};
        const QJsonObject document{
            {"id", 3},
            {"error", problem},
            {"list", QJsonArray{problem, ofCase, unknown, QJsonObject{{"deep", problem}}}}};
        const QJsonObject expected{
            {"id", 3},
            {"error", wanted},
            {"list", QJsonArray{wanted, ofCase, unknown, QJsonObject{{"deep", wanted}}}}};
        QCOMPARE(withPageAdvice(document), expected);
        const QByteArray frame = eventFrame({}, {{"event", "message"}, {"error", problem}});
        QVERIFY(frame.contains(ofPage.toUtf8()));
    }
};

AGENT_TEST(TestCores)

} // namespace web::tst_cores

#include "tst_cores.moc"
