// SPDX-License-Identifier: Apache-2.0
#include "common/ExitCodes.h"
#include "support/TestCase.h"
#include "upgrade-console/Options.h"

#include <QFile>
#include <QSet>
#include <QTest>

namespace tst_options {

namespace {

using Command = Options::Command;

std::optional<Options> read(const QStringList &arguments)
{
    OptionReader reader;
    const auto answer = reader.read(QStringList{"upgrade-console"} + arguments);
    return answer ? std::nullopt : std::optional(reader.options());
}

/** What is answered instead of a run. */
CommandOutcome answerTo(const QStringList &arguments)
{
    OptionReader reader;
    return reader.read(QStringList{"upgrade-console"} + arguments).value_or(CommandOutcome());
}

QString manual()
{
    QFile file(QStringLiteral(SOURCE_DIR "/docs/man/upgrade-console.1"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).remove('\\')
                                          : QString();
}

} // namespace

class TestOptions : public QObject
{
    Q_OBJECT

private slots:
    void defaults()
    {
        const auto options = read({"ping"});
        QVERIFY(options);
        QVERIFY(options->command == Command::Ping);
        QCOMPARE(options->host, QString("localhost"));
        QCOMPARE(int(options->port), 35353);
        QCOMPARE(options->mode, 2);
        QVERIFY(options->form == OutputForm::Text && !options->noProgress && !options->waitBack &&
                !options->requestAll);
        QVERIFY(options->timeOut >= std::chrono::seconds(60));
    }

    void everything()
    {
        const auto options =
            read({"--host", "h", "--port", "1", "--json", "upgrade", "--timeout", "0.5", "--mode",
                  "5", "--yes", "--wait-back", "A B,0,1", "--no-progress", "C"});
        QVERIFY(options);
        QVERIFY(options->command == Command::Upgrade);
        QCOMPARE(options->host, QString("h"));
        QCOMPARE(int(options->port), 1);
        QCOMPARE(options->mode, 5);
        QCOMPARE(options->rows, QStringList({"A B,0,1", "C"}));
        QVERIFY(options->form == OutputForm::Json && options->noProgress && options->waitBack &&
                options->yes);
        QVERIFY(options->timeOut.count() >= 500 && options->timeOut.count() <= 501);
    }

    void lastOneCounts()
    {
        const auto options = read({"--port", "1", "ping", "--port", "2"});
        QVERIFY(options);
        QCOMPARE(int(options->port), 2);
    }

    void argumentsOfCommands()
    {
        QCOMPARE(read({"edid", "-"})->file, QString("-"));
        QCOMPARE(read({"send-net", "x"})->file, QString("x"));
        QCOMPARE(read({"net-upgrade", "10.0.0.1"})->address, QString("10.0.0.1"));
        QVERIFY(read({"upgrade", "--request-all"})->requestAll);
        QVERIFY(read({"upgrade"})->rows.isEmpty());
        QVERIFY(read({"ping", "--json-progress"})->form == OutputForm::JsonLines);
        QVERIFY(read({"--json-progress", "ping", "--json"})->form == OutputForm::JsonLines);
    }

    void formerAll()
    {
        const CommandOutcome outcome = answerTo({"upgrade", "--all"});
        QCOMPARE(outcome.exit, ExitCode::Usage);
        QVERIFY(outcome.problem->detail.contains("--request-all"));
    }

    void wrongUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("detail");
        const QStringList none;
        QTest::newRow("no command") << none << "usage"
                                    << "no command is given";
        QTest::newRow("command") << QStringList{"upgrad"} << "usage"
                                 << "did you mean 'upgrade'?";
        QTest::newRow("option") << QStringList{"ping", "--timout", "3"} << "usage"
                                << "did you mean '--timeout'?";
        QTest::newRow("port") << QStringList{"ping", "--port", "0"} << "usage"
                              << "--port: '0' is not a valid port";
        QTest::newRow("mode") << QStringList{"upgrade", "--mode", "3"} << "usage"
                              << "--mode";
        QTest::newRow("row") << QStringList{"upgrade", "A,0,256"} << "rows-refused"
                             << "A,0,256";
    }

    void wrongUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, id);
        QFETCH(QString, detail);
        const CommandOutcome outcome = answerTo(arguments);
        QCOMPARE(outcome.exit, ExitCode::Usage);
        QCOMPARE(QString(problemRow(outcome.problem->id).id), id);
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

    void theManualHasEveryOption()
    {
        const QString text = manual();
        QVERIFY(!text.isEmpty());
        for (const CommandRow &row : commandRows())
            QVERIFY2(text.contains(QString::fromLatin1(row.name)), row.name);
        for (const OptionRow &row : optionRows())
            QVERIFY2(text.contains(QString::fromLatin1(row.name)), row.name);
        for (const ExitCodeWords &words : exitCodes())
            QVERIFY(words.code == ExitCode::NotPassed || // only device-check has it
                    text.contains(QStringLiteral(".TP\n.B %1\n").arg(int(words.code))));
    }

    void theHelpHasEveryOption()
    {
        QString help = answerTo({"--help"}).text;
        for (const CommandRow &row : commandRows()) {
            const CommandOutcome outcome = answerTo({row.name, "--help"});
            QCOMPARE(outcome.exit, ExitCode::Done);
            help += outcome.text;
        }
        for (const OptionRow &row : optionRows())
            QVERIFY2(help.contains(QString::fromLatin1(row.name)), row.name);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestOptions)

} // namespace tst_options

#include "tst_options.moc"
