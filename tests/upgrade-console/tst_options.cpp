// SPDX-License-Identifier: Apache-2.0
#include "common/ExitCodes.h"
#include "support/TestCase.h"
#include "upgrade-console/Options.h"

#include <QFile>
#include <QTest>

namespace tst_options {

namespace {

using Command = Options::Command;

std::optional<Options> read(const QStringList &arguments)
{
    Options::Other other;
    return Options::parse(QStringList{"upgrade-console"} + arguments, &other);
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
        QVERIFY(!options->json && !options->noProgress && !options->waitBack &&
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
        QVERIFY(options->json && options->noProgress && options->waitBack && options->yes);
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
        QVERIFY(read({"ping", "--json-progress"})->jsonProgress);
        QVERIFY(read({"--json-progress", "ping"})->json);
    }

    void formerAll()
    {
        Options::Other other;
        QVERIFY(!Options::parse({"upgrade-console", "upgrade", "--all"}, &other));
        QCOMPARE(other.exitStatus, int(ExitCode::Usage));
        QVERIFY(other.text.contains("--request-all"));
    }

    void everyCommandIsKnown()
    {
        for (const CommandRow &row : commandRows())
            QCOMPARE(commandName(row.command), QString::fromLatin1(row.name));
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
            QVERIFY(text.contains(QStringLiteral(".TP\n.B %1\n").arg(int(words.code))));
    }

    void theHelpHasEveryOption()
    {
        Options::Other other;
        QVERIFY(!Options::parse({"upgrade-console", "--help"}, &other));
        QString help = other.text;
        for (const CommandRow &row : commandRows()) {
            QVERIFY(!Options::parse({"upgrade-console", row.name, "--help"}, &other));
            QCOMPARE(other.exitStatus, 0);
            help += other.text;
        }
        for (const OptionRow &row : optionRows())
            QVERIFY2(help.contains(QString::fromLatin1(row.name)), row.name);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestOptions)

} // namespace tst_options

#include "tst_options.moc"
