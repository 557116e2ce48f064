// SPDX-License-Identifier: Apache-2.0
// What scripts rely on: exit statuses, the words of wrong usage, nothing on the wrong stream.
#include "common/ExitCodes.h"
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

namespace tst_contract {

class TestContract : public QObject, private Fwm
{
    Q_OBJECT

private slots:
    void init() { renew(); }

    void usageTexts_data()
    {
        QTest::addColumn<QString>("text");
        const auto row = [](const char *arguments, const char *text) {
            QTest::newRow(arguments) << QString::fromLatin1(text);
        };
        row("lst a", "unknown command 'lst'; did you mean 'list'?");
        row("info", "FILE is required");
        row("info a b", "unexpected 'b'");
        row("diff a", "B is required");
        row("plan a --rows r --mode 3", "--mode: '3' is not one of 2, 5");
        row("plan a", "--rows or --device is required");
        row("plan a --rows r --device d", "only one of --rows and --device may be given");
        row("plan a --rows r --request-all", "only one of --rows and --request-all may be given");
        row("build r.json", "--output is required");
        row("build r.json -o", "--output needs a value");
        row("build r.json -o a -o b", "--output may be given only once");
        row("add-net a b -o c --relase 1", "unknown option '--relase'; did you mean '--release'?");
        row("make-net d -o n", "--net-version is required");
        row("make-net d --version 1.23 -o n",
            "--version takes no value; did you mean '--net-version 1.23'?");
        for (const char *version : {"x", "1.2", "1.234", "a.bc"})
            row(qPrintable(QStringLiteral("make-net d --net-version %1 -o n").arg(version)),
                qPrintable(QStringLiteral("--net-version: '%1' is not a digit, a point and two "
                                          "digits, like 1.23")
                               .arg(version)));
        for (const char *command :
             {"build r.json", "add-net a b", "make-net d --net-version 1.00", "extract a"})
            row(qPrintable(command + QStringLiteral(" -o -")),
                "--output: '-' would be a file of this name; standard output is not supported");
    }

    /** None of them is the parser's own. */
    void usageTexts()
    {
        QFETCH(QString, text);
        const Ran ran = run(QString::fromLatin1(QTest::currentDataTag()));
        QCOMPARE(ran.status, 2);
        QCOMPARE(ran.out, QByteArray());
        QCOMPARE(QString::fromUtf8(ran.err).section('\n', 0, 0),
                 QStringLiteral("fwm: error: the command line is wrong: ") + text);
        QCOMPARE(names(), QStringList());
    }

    void optionsBeforeAndAfterTheCommand()
    {
        const Ran after = run("list {good} --json --no-progress");
        QCOMPARE(after.problem(), QString("0 "));
        QCOMPARE(run("--no-progress --json list {good}").out, after.out);
    }

    void helpAndPage()
    {
        const QByteArray page = fileBytes(QStringLiteral(DOCS_DIR "/man/fwm.1"));
        const Ran help = run("--help");
        QCOMPARE(help.status, 0);
        QCOMPARE(help.err, QByteArray());
        for (const ExitCodeWords &words : exitCodes()) {
            const int code = int(words.code);
            const bool isUsed = code <= 3 || code == 7 || code == 9;
            QCOMPARE(help.out.contains(words.meaning), isUsed);
            const QByteArray entry = ".B " + QByteArray::number(code) + "\n" + words.meaning;
            QCOMPARE(page.contains(entry), isUsed);
        }
        QVERIFY(run("--version").out.startsWith("fwm "));
    }

    void unreadableFiles()
    {
        shell("mkfifo pipe; mkdir folder");
        for (const char *command : {"info", "verify", "list"}) {
            for (const char *file : {"none", "folder", "pipe", ""}) {
                const Ran ran = run(QStringList{command, file});
                QCOMPARE(ran.status, 1);
                QVERIFY(ran.err.contains("the file cannot be read: "));
                QCOMPARE(ran.out, QByteArray());
            }
        }
    }

    void standardOutputThatIsFull()
    {
        const QString package = GOLDEN_DIR "/good.fwm";
        const QString arguments[] = {"list " + package,    "info --json " + package,
                                     "verify --json none", "--help",
                                     "list --help",        "--help-all",
                                     "--version",          "--bash-completion"};
        for (const QString &words : arguments) {
            // The third one is a pipe whose reader has ended.
            for (const char *output : {"> /dev/full", ">&-", ">&3"}) {
                const Ran ran =
                    shell("exec 3> >(:); wait $!; exec " FWM_PROGRAM " " + words + " " + output);
                QVERIFY2(ran.status == 1, qPrintable(words + output));
                QVERIFY2(ran.err.contains("standard output cannot be written"),
                         ran.err.constData());
            }
        }
    }

    void completionCompletes()
    {
        write("package.fwm", "");
        const auto complete = [this](const QString &words, int index) {
            const QString line =
                QStringLiteral("eval \"$(" FWM_PROGRAM " --bash-completion)\"; COMP_WORDS=(%1); "
                               "COMP_CWORD=%2; _fwm; echo \"${COMPREPLY[*]}\"");
            return QString(shell(line.arg(words).arg(index)).out.trimmed());
        };
        QCOMPARE(complete("fwm info pack", 2), QString("package.fwm"));
        QCOMPARE(complete("fwm verify --keys pack", 3), QString("package.fwm"));
        QCOMPARE(complete("fwm list --k", 2), QString());
        QCOMPARE(complete("fwm ''", 1),
                 QString("info verify list extract diff new explain build add-net make-net plan"));
    }
};

AGENT_TEST(TestContract)

} // namespace tst_contract

#include "tst_contract.moc"
