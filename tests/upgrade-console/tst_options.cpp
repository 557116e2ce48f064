// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "upgrade-console/Options.h"

#include <QSet>

namespace tst_options {

namespace {

using Command = Options::Command;

/** The options, or else what is answered instead of a run. */
Options read(const QStringList &arguments, CommandOutcome *answer = nullptr)
{
    OptionReader reader;
    const auto outcome = reader.read(QStringList{"upgrade-console"} + arguments);
    if (answer != nullptr)
        *answer = outcome.value_or(CommandOutcome());
    else if (outcome)
        qFatal("%s are refused", qPrintable(arguments.join(' ')));
    return reader.options();
}

} // namespace

class TestOptions : public QObject
{
    Q_OBJECT

private slots:
    void defaults()
    {
        const Options options = read({"ping"});
        QVERIFY(options.command == Command::Ping);
        QCOMPARE(options.host, QString("localhost"));
        QCOMPARE(int(options.port), 35353);
        QCOMPARE(options.mode, 2);
        QVERIFY(options.form == OutputForm::Text && !options.noProgress && !options.waitBack &&
                !options.requestAll);
        QVERIFY(options.timeOut >= std::chrono::seconds(60));
    }

    void everything()
    {
        const Options options =
            read({"--host", "h", "--port", "1", "--json", "upgrade", "--timeout", "0.5", "--mode",
                  "5", "--yes", "--wait-back", "A B,0,1", "--no-progress", "C"});
        QVERIFY(options.command == Command::Upgrade);
        QCOMPARE(options.host, QString("h"));
        QCOMPARE(int(options.port), 1);
        QCOMPARE(options.mode, 5);
        QCOMPARE(options.rows, QStringList({"A B,0,1", "C"}));
        QVERIFY(options.form == OutputForm::Json && options.noProgress && options.waitBack &&
                options.yes);
        QVERIFY(options.timeOut.count() >= 500 && options.timeOut.count() <= 501);
    }

    void argumentsOfCommands()
    {
        QCOMPARE(read({"edid", "-"}).file, QString("-"));
        QCOMPARE(read({"send-net", "x"}).file, QString("x"));
        QCOMPARE(read({"net-upgrade", "10.0.0.1"}).address, QString("10.0.0.1"));
        QVERIFY(read({"upgrade", "--request-all"}).requestAll);
        QVERIFY(read({"upgrade"}).rows.isEmpty());
        // The last one counts.
        QCOMPARE(int(read({"--port", "1", "ping", "--port", "2"}).port), 2);
    }

    void wrongUsage_data()
    {
        const tests::DataTable<QStringList, QString, QString> row("arguments", "id", "detail");
        row("port 0", {"ping", "--port", "0"}, "usage", "--port: '0' is not a valid port");
        row("port 65536", {"ping", "--port", "65536"}, "usage", "--port: '65536' is not a valid");
        row("time 0", {"ping", "--timeout", "0"}, "usage", "--timeout");
        row("time", {"ping", "--timeout", "nan"}, "usage", "--timeout");
        row("host", {"ping", "--host", ""}, "usage", "--host");
        row("mode", {"upgrade", "--mode", "3"}, "usage", "--mode");
        row("former --all", {"upgrade", "--all"}, "usage", "--request-all");
        row("all and rows", {"upgrade", "--request-all", "MAIN,0,0"}, "usage", "--request-all");
        row("half an address", {"net-upgrade", "1.2.3"}, "usage", "1.2.3");
        row("address", {"net-upgrade", "1.2.3.256"}, "usage", "1.2.3.256");
        row("no file", {"put"}, "usage", "FILE is required");
        row("two files", {"put", "x", "y"}, "usage", "unexpected 'y'");
        row("port of ssh", {"put", "x", "--ssh-port", "0"}, "usage", "--ssh-port");
        for (const char *text :
             {"A,0,256", "MAIN,0", "X||UPGRADEALL,0,0", "HEART BEAT,0,0", "A\nB,0,0"})
            row(text, {"upgrade", text}, "rows-refused", text);
    }

    void wrongUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, detail);
        CommandOutcome outcome;
        read(arguments, &outcome);
        QCOMPARE(outcome.exit, ExitCode::Usage);
        QTEST(QString(problemRow(outcome.problem->id).id), "id");
        QVERIFY2(outcome.problem->detail.contains(detail), qPrintable(outcome.problem->detail));
    }

    void everyCommandIsKnown()
    {
        QSet<int> commands;
        for (const CommandRow &row : commandRows())
            commands += int(row.command);
        QCOMPARE(commands.size(), int(commandRows().size()));
        QCOMPARE(int(commandRows().size()), int(Command::Watch) + 1);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestOptions)

} // namespace tst_options

#include "tst_options.moc"
