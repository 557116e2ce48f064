// SPDX-License-Identifier: Apache-2.0
// What scripts rely on: exit statuses, one JSON document, silence where silence is due.
#include "common/ExitCodes.h"
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

namespace tst_contract {

class TestContract : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_fwm.reset(new Fwm); }

    void wrongCommandLines_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("none") << QStringList();
        QTest::newRow("unknown command") << QStringList{"explode"};
        QTest::newRow("unknown option") << QStringList{"info", "--loud", "x"};
        QTest::newRow("no file") << QStringList{"info"};
        QTest::newRow("too many files") << QStringList{"info", "a", "b"};
        QTest::newRow("no output") << QStringList{"build", "r.json"};
        QTest::newRow("output without a name") << QStringList{"build", "r.json", "-o"};
        QTest::newRow("no version") << QStringList{"make-net", "d", "-o", "n"};
        QTest::newRow("one file to compare") << QStringList{"diff", "a"};
        QTest::newRow("two commands") << QStringList{"info", "a", "list", "b"};
    }

    void wrongCommandLines()
    {
        QFETCH(QStringList, arguments);
        const Ran plain = m_fwm->run(arguments);
        QCOMPARE(plain.status, 2);
        QCOMPARE(plain.out, QByteArray());
        QVERIFY(plain.err.startsWith("fwm: error: "));

        arguments.insert(qMin(1, arguments.size()), "--json");
        const Ran json = m_fwm->run(arguments);
        QCOMPARE(json.status, 2);
        QCOMPARE(json.err, QByteArray());
        QCOMPARE(json.json().value("exit").toInt(), 2);
        QCOMPARE(json.json().value("error").toObject().value("id").toString(),
                 QStringLiteral("usage"));
    }

    void usageTexts_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *arguments, const char *text) {
            QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(text);
        };
        row("plan a --rows r --mode 3", "--mode: '3' is not one of 2, 5");
        row("plan a", "--rows or --device is required");
        row("plan a --rows r --device d", "only one of --rows and --device may be given");
        row("plan a --rows r --request-all", "only one of --rows and --request-all may be given");
        row("build r.json -o", "--output needs a value");
        row("build r.json -o a -o b", "--output may be given only once");
        row("make-net d --net-version x -o n",
            "--net-version: 'x' is not a digit, a point and two digits, like 1.23");
        row("make-net d --version 1.23 -o n",
            "--version takes no value; did you mean '--net-version 1.23'?");
        for (const char *command :
             {"build r.json", "add-net a b", "make-net d --net-version 1.00", "extract a"})
            row(qPrintable(command + QStringLiteral(" -o -")),
                "--output: '-' would be a file of this name; standard output is not supported");
    }

    /** None of them is the parser's own. */
    void usageTexts()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, text);
        const Ran ran = m_fwm->run(arguments.split(' '));
        QCOMPARE(ran.status, 2);
        QCOMPARE(ran.out, QByteArray());
        QCOMPARE(QString::fromUtf8(ran.err).section('\n', 0, 0),
                 QStringLiteral("fwm: error: the command line is wrong: ") + text);
        QCOMPARE(m_fwm->names(), QStringList());
    }

    void optionsBeforeAndAfterTheCommand()
    {
        const QString package = goldenPath("good");
        const Ran after = m_fwm->run({"info", package, "--json", "--no-progress"});
        QCOMPARE(after.status, 0);
        QVERIFY(!after.json().isEmpty());
        const Ran before = m_fwm->run({"--no-progress", "--json", "info", package});
        QCOMPARE(before.status, 0);
        QCOMPARE(before.out, after.out);
        QCOMPARE(m_fwm->run({"--help", "info"}).out, m_fwm->run({"info", "-h"}).out);
        QCOMPARE(m_fwm->run({"info", "--version"}).out, m_fwm->run({"-v"}).out);
    }

    void typos()
    {
        const Ran command = m_fwm->run({"lst", goldenPath("good")});
        QCOMPARE(command.status, 2);
        QCOMPARE(command.err,
                 QByteArray("fwm: error: the command line is wrong: unknown command 'lst'; "
                            "did you mean 'list'?\n  See 'fwm --help'.\n"));
        const Ran option = m_fwm->run({"add-net", "a", "b", "-o", "c", "--relase", "1"});
        QCOMPARE(option.status, 2);
        QVERIFY(option.err.contains("unknown option '--relase'; did you mean '--release'?"));
    }

    void helpAndVersion()
    {
        const Ran help = m_fwm->run({"--help"});
        QCOMPARE(help.status, 0);
        QCOMPARE(help.err, QByteArray());
        for (const QString &command : commands()) {
            QVERIFY(help.out.contains("\n  " + command.toLatin1() + " "));
            const Ran own = m_fwm->run({command, "--help"});
            QCOMPARE(own.status, 0);
            QVERIFY(own.out.contains("--json"));
        }
        for (const ExitCodeWords &words : exitCodes()) {
            const int code = int(words.code);
            QCOMPARE(help.out.contains(words.meaning), code <= 3 || code == 7 || code == 9);
        }
        const Ran version = m_fwm->run({"--version"});
        QCOMPARE(version.status, 0);
        QVERIFY(version.out.startsWith("fwm "));
    }

    void jsonHoldsTheError()
    {
        const Ran refused = m_fwm->run({"list", goldenPath("checksum-wrong"), "--json"});
        QCOMPARE(refused.status, 7);
        QCOMPARE(refused.err, QByteArray());
        QCOMPARE(refused.json().value("result").toString(), QStringLiteral("package-refused"));
        const QJsonObject error = refused.json().value("error").toObject();
        QCOMPARE(error.value("id").toString(), QStringLiteral("checksum-wrong"));
        QVERIFY(!error.value("text").toString().isEmpty());
        QVERIFY(!error.value("advice").toString().isEmpty());
    }

    void jsonIsOneDocument()
    {
        for (const char *command : {"info", "verify", "list"}) {
            for (const char *name :
                 {"good", "bare", "checksum-wrong", "empty", "json-wrong-types"}) {
                const Ran ran = m_fwm->run({command, "--json", goldenPath(name)});
                QJsonParseError error;
                QVERIFY(QJsonDocument::fromJson(ran.out, &error).isObject());
                QCOMPARE(error.error, QJsonParseError::NoError);
                QCOMPARE(ran.json().value("command").toString(), QString::fromLatin1(command));
                QCOMPARE(ran.json().value("exit").toInt(), ran.status);
                QCOMPARE(ran.json().value("error").isObject(), ran.status != 0);
                QVERIFY(ran.json().contains("error") && ran.json().contains("warnings"));
            }
        }
    }

    void unreadableFiles()
    {
        m_fwm->shell("mkfifo pipe; mkdir folder");
        for (const char *command : {"info", "verify", "list"}) {
            for (const char *file : {"none", "folder", "pipe", ""}) {
                const Ran ran = m_fwm->run({command, file});
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
                const Ran ran = m_fwm->shell("exec 3> >(:); wait $!; exec " FWM_PROGRAM " " +
                                             words + " " + output);
                QVERIFY2(ran.status == 1, qPrintable(words + output));
                QVERIFY2(ran.err.contains("standard output cannot be written"),
                         ran.err.constData());
            }
        }
    }

    void noProgressAwayFromATerminal()
    {
        if (m_fwm->shell("truncate -s 300M big").status != 0)
            QSKIP("No files of 300 MB here");
        const Ran ran = m_fwm->run({"verify", "big"});
        QCOMPARE(ran.status, 7);
        QVERIFY(!ran.err.contains('%'));
        QVERIFY(!ran.err.contains('\x1b'));
    }

    void manPageIsComplete()
    {
        QByteArray page = fileBytes(QStringLiteral(DOCS_DIR "/man/fwm.1"));
        page.replace("\\-", "-");
        const QRegularExpression option(QStringLiteral("--[a-z][a-z-]+"));
        int seen = 0;
        for (const QString &command : commands()) {
            QVERIFY2(page.contains("fwm " + command.toLatin1()), qPrintable(command));
            auto options =
                option.globalMatch(QString::fromLatin1(m_fwm->run({command, "--help"}).out));
            while (options.hasNext()) {
                const QString name = options.next().captured();
                QVERIFY2(page.contains(name.toLatin1()), qPrintable(name));
                ++seen;
            }
        }
        QVERIFY(seen > 20);
        for (const ExitCodeWords &words : exitCodes()) {
            const int code = int(words.code);
            if (code <= 3 || code == 7 || code == 9)
                QVERIFY(page.contains(QByteArray(".B ") + QByteArray::number(code) + "\n" +
                                      words.meaning));
        }
    }

    void completionCompletes()
    {
        m_fwm->write("package.fwm", "");
        const auto complete = [this](const QString &words, int index) {
            const QString line =
                QStringLiteral("eval \"$(" FWM_PROGRAM " --bash-completion)\"; COMP_WORDS=(%1); "
                               "COMP_CWORD=%2; _fwm; echo \"${COMPREPLY[*]}\"")
                    .arg(words)
                    .arg(index);
            return m_fwm->shell(line).out.trimmed();
        };
        QCOMPARE(complete("fwm ma", 1), QByteArray("make-net"));
        QCOMPARE(complete("fwm add-net --re", 2), QByteArray("--release"));
        QCOMPARE(complete("fwm info --js", 2), QByteArray("--json"));
        QCOMPARE(complete("fwm info pack", 2), QByteArray("package.fwm"));
        QCOMPARE(complete("fwm verify --k", 2), QByteArray("--keys"));
        QCOMPARE(complete("fwm verify --keys pack", 3), QByteArray("package.fwm"));
        QCOMPARE(complete("fwm list --k", 2), QByteArray());
        QCOMPARE(complete("fwm info --rel", 2), QByteArray());
        QCOMPARE(complete("fwm ''", 1).split(' ').size(), commands().size());
    }

private:
    QStringList commands() const;

    QScopedPointer<Fwm> m_fwm;
};

QStringList TestContract::commands() const
{
    return {"info",    "verify", "list",    "extract",  "diff", "new",
            "explain", "build",  "add-net", "make-net", "plan"};
}

AGENT_TEST(TestContract)

} // namespace tst_contract

#include "tst_contract.moc"
