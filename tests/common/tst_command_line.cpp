// SPDX-License-Identifier: Apache-2.0
// What is the same on the command line of every program.
#include "common/CommandLine.h"
#include "common/ForkedProcess.h"
#include "support/TestCase.h"
#include "support/TestFolder.h"

#include <CLI/CLI.hpp>

namespace tst_command_line {

namespace {

/** A program with two commands, an option for both, and values of every kind. */
class Example
{
public:
    Example() : m_line({"ex-ample", "1.2", "Shows a command line."})
    {
        m_line.addJsonFlag("--json-progress", OutputForm::JsonLines, "Write JSON lines.");
        m_line.takesHost(m_line.app().add_option("--host", host, "The device."));
        CLI::App &list = m_line.addCommand("list", "List files.");
        m_line.takesFile(list.add_option("FILE", file, "A file.")->required());
        m_line.takesOneOf(list.add_option("--mode", mode, "How."), {"2", "5"});
        CLI::Option_group *group = list.add_option_group("Where", "One of them");
        m_line.takesFolder(group->add_option("-o,--output", output, "A folder."));
        CLI::App &send = m_line.addCommand("send", "Send words.");
        send.add_option("WORD", words, "The words.");
        CLI::Option_group *source = send.add_option_group("Source", "One of them");
        CLI::Option *file = source->add_option("--from", from, "A file.");
        m_line.takesFile(file);
        source->add_option("--to", to, "A file.");
        source->require_option(1);
        send.add_flag("--all", "All files.")->excludes(file);
        send.add_option("--set-version", version, "The version.");
        m_line.addExitStatuses({ExitCode::Done, ExitCode::Usage});
        m_line.addHelp(QStringLiteral("More"), {"one", "two"});
    }

    std::optional<CommandOutcome> read(const QStringList &arguments)
    {
        return m_line.read(QStringList("ex-ample") + arguments);
    }
    const CommandLine &line() const { return m_line; }

    std::string host, file, mode, output, from, to, version;
    std::vector<std::string> words;

private:
    CommandLine m_line;
};

QStringList wordsOf(const QString &arguments)
{
    QStringList words = arguments.split(' ');
    words.removeAll(QString());
    return words;
}

QString textOf(const QStringList &arguments)
{
    const auto outcome = Example().read(arguments);
    return outcome && !outcome->problem ? outcome->text : QString();
}

/** What bash offers for the last one of the words. */
QString completed(const QStringList &words, const QString &folder)
{
    QString line = textOf({"--bash-completion"}) + QStringLiteral("\nCOMP_WORDS=(ex-ample");
    for (const QString &word : words)
        line += QStringLiteral(" '%1'").arg(word);
    line += QStringLiteral(")\nCOMP_CWORD=%1\n_ex_ample\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n")
                .arg(words.size());
    ForkedProcess bash;
    bash.setWorkingDirectory(folder);
    bash.start("bash", {"--norc", "-u", "-c", line});
    if (!bash.waitForFinished() || bash.exitCode() != 0 || !bash.readAllStandardError().isEmpty())
        return "failed";
    QStringList found = QString::fromUtf8(bash.readAllStandardOutput()).split('\n');
    found.removeAll(QString());
    found.sort();
    return found.join(' ');
}

} // namespace

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void optionsBeforeAndAfterTheCommand()
    {
        for (const QStringList &arguments : {QStringList{"--host", "h", "--json", "list", "a"},
                                             QStringList{"list", "a", "--host", "h", "--json"}}) {
            Example example;
            QVERIFY(!example.read(arguments));
            QCOMPARE(example.line().command(), QString("list"));
            QCOMPARE(example.host, std::string("h"));
            QCOMPARE(example.file, std::string("a"));
            QVERIFY(example.line().form() == OutputForm::Json);
        }
        Example example;
        QVERIFY(!example.read({"list", "send"})); // a file of that name
        QCOMPARE(example.file, std::string("send"));
    }

    void helpAndVersion()
    {
        for (const char *flag : {"-v", "--version"}) {
            QCOMPARE(textOf({flag}), QString("ex-ample 1.2\n"));
            QCOMPARE(textOf({"list", flag}), QString("ex-ample 1.2\n"));
        }
        for (const char *flag : {"-h", "--help"}) {
            const QString all = textOf({flag});
            for (const char *words :
                 {"List files.", "--host", "--json", "-h,--help", "Exit status:\n",
                  "  2  The command line is wrong.\n\nMore:\n  one\n  two\n"})
                QVERIFY2(all.contains(words), words);
            QCOMPARE(textOf({flag, "list"}), textOf({"list", flag}));
            for (const char *words :
                 {"--mode", "-o,--output", "--host", "--json", "--version", "FILE"})
                QVERIFY2(textOf({"list", flag}).contains(words), words);
        }
        for (const char *words : {"--mode", "WORD", "Exit status:"})
            QVERIFY2(textOf({"--help-all"}).contains(words), words);
        // In JSON as well, since a program that asks for JSON reads nothing else.
        Example example;
        const auto version = example.read({"--version", "--json"});
        QCOMPARE(version->json.value("text").toString(), QString("ex-ample 1.2\n"));
    }

    void wrongUsage_data()
    {
        const tests::DataTable<QString, QString, QString> row("arguments", "detail", "help");
        row("nothing", "", "no command is given", "ex-ample");
        row("--json", "no command is given", "ex-ample");
        row("lst a", "unknown command 'lst'; did you mean 'list'?", "ex-ample");
        row("snd --from x", "unknown command 'snd'; did you mean 'send'?", "ex-ample");
        row("explode", "unknown command 'explode'", "ex-ample");
        row("list --jsn a", "unknown option '--jsn'; did you mean '--json'?", "ex-ample list");
        row("list --otput x a", "unknown option '--otput'; did you mean '--output'?",
            "ex-ample list");
        row("list --mod 2", "unknown option '--mod'; did you mean '--mode'?", "ex-ample list");
        row("list a b", "unexpected 'b'", "ex-ample list");
        row("list", "FILE is required", "ex-ample list");
        row("list a --mode 7", "--mode: '7' is not one of 2, 5", "ex-ample list");
        row("list a --mode", "--mode needs a value", "ex-ample list");
        row("list a --mode 2 --mode 5", "--mode may be given only once", "ex-ample list");
        row("send", "--from or --to is required", "ex-ample send");
        row("send --from a --to b", "only one of --from and --to may be given", "ex-ample send");
        row("send --from a --all", "only one of --from and --all may be given", "ex-ample send");
        row("send --from a --version 1.2",
            "--version takes no value; did you mean '--set-version 1.2'?", "ex-ample send");
        row("list a --json=1", "--json takes no value", "ex-ample list");
        row("--json-progress=x list a", "--json-progress takes no value", "ex-ample");
    }

    void wrongUsage()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, help);
        const auto outcome = Example().read(wordsOf(arguments));
        QVERIFY(outcome && outcome->problem);
        QCOMPARE(int(outcome->exit), 2);
        QVERIFY(outcome->problem->id == ProblemId::Usage);
        QTEST(outcome->problem->detail, "detail");
        QCOMPARE(outcome->problem->advice, QStringLiteral("See '%1 --help'.").arg(help));
    }

    void forms_data()
    {
        const tests::DataTable<QString, OutputForm> row("arguments", "form");
        row("list a", OutputForm::Text);
        row("lst --json", OutputForm::Json);
        row("--json-progress list", OutputForm::JsonLines);
        row("--json-progress list --json", OutputForm::JsonLines);
        row("list a --json=1", OutputForm::Json);
        row("--json-progress=1 list a", OutputForm::JsonLines);
        row("send -- --json", OutputForm::Text);
    }

    void forms()
    {
        QFETCH(QString, arguments);
        Example example;
        example.read(wordsOf(arguments));
        QTEST(example.line().form(), "form");
    }

    void programWithoutCommands()
    {
        CommandLine line({"single", "1", "Does one thing.", OutputForm::JsonLines, "Write lines."});
        std::string file;
        line.app().add_option("FILE", file, "A file.")->required();
        QVERIFY(!line.read({"single", "--json", "a"}));
        QCOMPARE(file, std::string("a"));
        QVERIFY(line.form() == OutputForm::JsonLines);
        QVERIFY(line.command().isEmpty());

        CommandLine other({"single", "1", "Does one thing."});
        other.app().add_option("FILE", file, "A file.")->required();
        QVERIFY(other.read({"single", "--version"})->text == "single 1\n");
        CommandLine third({"single", "1", "Does one thing."});
        QCOMPARE(third.read({"single", "x"})->problem->detail, QString("unexpected 'x'"));
    }

    /** An underscore is an empty word. */
    void completion_data()
    {
        const tests::DataTable<QString, QString> row("words", "found");
        row("_", "list send");
        row("l", "list");
        row("--host x s", "send");
        row("--js", "--json --json-progress");
        row("--mo", "");
        row("list --", "--bash-completion --help --help-all --host --json --json-progress --mode "
                       "--output --version");
        row("list -o", "-o");
        row("send --fr", "--from");
        row("send --mo", "");
        row("list --mode _", "2 5");
        row("list --mode = 5", "5");
        row("list --mode =", "2 5");
        row("list --output _", "folder");
        row("list f", "file.fwm folder");
        row("list --json f", "file.fwm folder");
        row("list --mode 2 f", "file.fwm folder");
        row("list file.fwm f", ""); // it takes one file
        row("send f", "");
        row("send --from f", "file.fwm folder");
        row("send a b f", "");
    }

    void completion()
    {
        QFETCH(QString, words);
        const TestFolder folder;
        QVERIFY(QDir(folder.path()).mkdir("folder"));
        folder.store("file.fwm", {});
        QTEST(completed(wordsOf(words).replaceInStrings("_", ""), folder.path()), "found");
    }
};

AGENT_TEST(TestCommandLine)

} // namespace tst_command_line

Q_DECLARE_METATYPE(OutputForm)

#include "tst_command_line.moc"
