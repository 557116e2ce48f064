// SPDX-License-Identifier: Apache-2.0
#include "DumpReader.h"
#include "ReportPrinter.h"
#include "edid/TestDumps.h"
#include "support/TestCase.h"
#include "tools/common/ForkedProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>

namespace tst_report_tool {

namespace {

struct Run
{
    int exitCode = -1;
    QString output;
    QString errors;
};

Run runProgram(const QString &name, const QStringList &arguments, const QByteArray &input = {})
{
    ForkedProcess program;
    // The system's error texts are compared below.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "C");
    program.setProcessEnvironment(environment);
    program.start(name, arguments);
    program.write(input);
    program.closeWriteChannel();
    Run result;
    if (program.waitForFinished() && program.exitStatus() == QProcess::NormalExit)
        result.exitCode = program.exitCode();
    result.output = QString::fromUtf8(program.readAllStandardOutput());
    result.errors = QString::fromUtf8(program.readAllStandardError());
    return result;
}

Run run(const QStringList &arguments, const QByteArray &input = {})
{
    return runProgram(EDID_REPORT_PROGRAM, arguments, input);
}

const QString monitor = "v4l-sony-gdmf520-vga";
const QString television = "v4l-vizio-e65e0-hdmi";

} // namespace

class TestReportTool : public QObject
{
    Q_OBJECT

private slots:
    void reads_data()
    {
        const tests::DataTable<QByteArray, QString> rows("content", "error");
        const QByteArray dump = realDump(television);
        const QByteArray hex = dump.toHex();
        QByteArray lines;
        for (int i = 0; i < 256; i += 16)
            lines += "\t" + dump.mid(i, 16).toHex() + "\n";
        rows("binary", dump, "");
        rows("binary, more blocks", dump + QByteArray(128, 'x'), "");
        rows("binary, more than whole blocks", dump + "x", "");
        rows("one word", hex, "");
        rows("fields", dump.toHex(' '), "");
        rows("upper case and line ends", dump.toHex(' ').toUpper() + "\r\n", "");
        rows("indented lines", lines, "");
        rows("C array", "0x" + dump.toHex(' ').replace(" ", ", 0x") + ",\n", "");
        rows("one digit", dump.toHex(' ').replace("00 ", "0 "), "");
        rows("more blocks", hex + QByteArray(256, '0'), "");
        const QString noHeader = "it does not begin with 00 FF FF FF FF FF FF 00";
        rows("nothing", {}, "it is empty");
        rows("blanks", " \r\n", "it is empty");
        rows("a block less one", dump.left(127), "127 bytes are less than a block of 128");
        rows("two blocks less one", dump.left(255), "255 bytes end inside its second block");
        rows("header", "x" + dump.mid(1), noHeader);
        rows("zeros", QByteArray(256, '\0'), noHeader);
        rows("zeros as text", QByteArray(512, '0'), noHeader);
        rows("prose", "Dear display, what are you?", "\"Dear\" is not a hexadecimal byte");
        rows("a digit lost", hex.chopped(1), "\"00ffffffffffff00593a\" is not a hexadecimal byte");
        rows("prefix alone", "00 0x", "\"0x\" is not a hexadecimal byte");
        rows("short text", "00 ff ff", "3 bytes are less than a block of 128");
    }

    void reads()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, error);
        const DumpReading reading = readDump(content);
        QCOMPARE(reading.error, error);
        QCOMPARE(reading.bytes, error.isEmpty() ? realDump(television) : QByteArray());
        QVERIFY(!reading.extensionMissing);
    }

    void missingExtension()
    {
        const QByteArray base = realDump(television).left(128);
        QVERIFY(readDump(base).extensionMissing);
        QCOMPARE(readDump(base).bytes, base + QByteArray(128, '\0'));
        QVERIFY(!readDump(realDump(monitor).left(128)).extensionMissing);
        QCOMPARE(readDump(realDump(monitor).left(128)).bytes, realDump(monitor));

        const Run result = run({"-"}, base);
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.output.startsWith("Status: HDMI EDID, check sum Ok !\n"));
        QCOMPARE(result.errors,
                 QString("edid-report: warning: the extension block is missing and read as "
                         "zeros: standard input [extension-missing]\n"));
    }

    void readsNoEndlessFile()
    {
        QFile endless("/dev/zero");
        QVERIFY(endless.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
        QCOMPARE(readDump(endless).error, QString("it is larger than any dump"));
    }

    void controlCharactersAreHidden()
    {
        // A name that would colour the terminal; the report proper keeps it.
        const QByteArray bytes = DumpBuilder().set(54, "000000fc001b5b33316d0d9b0a").bytes();
        const DumpReport report = reportDump(bytes);
        QCOMPARE(report.identification,
                 QString("DEL,") + QChar(0x1b) + "[31m\r" + QChar(0x9b) + ",DVI,");
        const QString text = reportText(report);
        QVERIFY(text.contains("Identification: DEL,\\u001b[31m\\u000d\\u009b,DVI,\n"));
        QVERIFY(text.contains("Display Product Name:\\u001b[31m\\u000d\\u009b\n"));
    }

    void printsWhatTheAgentEmits()
    {
        for (const QString &name : realDumpNames()) {
            const Outcome outcome = outcomeOf(realDump(name));
            const Run result = run({dataPath(name + ".bin")});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.errors, QString());
            QCOMPARE(result.output, "Status: " + QString(outcome.status).replace("\r", ", ") +
                                        "\nIdentification: " + outcome.items[0] + "\nTimings: " +
                                        outcome.items[1] + "\nExtension: " + outcome.items[2] +
                                        "\n\n" + outcome.lines.join("").remove('\r'));
        }
    }

    void completesFileNames()
    {
        const QString line = run({"--bash-completion"}).output + "COMP_WORDS=(edid-report '" +
                             dataPath("INDEX") +
                             "'); COMP_CWORD=1; _edid_report; echo ${COMPREPLY[*]}";
        QCOMPARE(runProgram("bash", {"--norc", "-c", line}).output, dataPath("INDEX.md\n"));
    }

    void readsStandardInput()
    {
        const QByteArray dump = realDump(monitor);
        const QString report = run({dataPath(monitor + ".bin")}).output;
        QVERIFY(report.startsWith("Status: DVI EDID\nIdentification: SNY,GDM-F520,DVI,\n"));
        QCOMPARE(run({"-"}, dump).output, report);
        QCOMPARE(run({"-"}, dump.toHex(' ')).output, report);
    }

    void json()
    {
        const Run result = run({"--json", dataPath(television + ".bin")});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.errors, QString());
        const QJsonObject object = QJsonDocument::fromJson(result.output.toUtf8()).object();
        const Outcome outcome = outcomeOf(realDump(television));
        QCOMPARE(object, (QJsonObject{{"command", "edid-report"},
                                      {"exit", 0},
                                      {"result", "done"},
                                      {"error", QJsonValue::Null},
                                      {"warnings", QJsonArray()},
                                      {"file", dataPath(television + ".bin")},
                                      {"status", outcome.status},
                                      {"dump", outcome.dump},
                                      {"identification", outcome.items[0]},
                                      {"timings", outcome.items[1]},
                                      {"extension", outcome.items[2]},
                                      {"lines", QJsonArray::fromStringList(outcome.lines)}}));
    }

    void failures_data()
    {
        const tests::DataTable<QStringList, int, QString> rows("arguments", "exitCode", "errors");
        const auto wrong = [](const QString &detail) {
            return "edid-report: error: the command line is wrong: " + detail +
                   "\n  See 'edid-report --help'.\n";
        };
        const QString notAnEdid =
            "edid-report: error: the file is not an EDID dump: %1\n"
            "  Give a dump of 128 or 256 bytes, binary or as hexadecimal text.\n";
        rows("no file", {}, 2, wrong("FILE is required"));
        rows("two files", QStringList{"a", "b"}, 2, wrong("unexpected 'b'"));
        rows("not there", QStringList{"/nowhere/dump"}, 1,
             "edid-report: error: the file cannot be read: /nowhere/dump: "
             "No such file or directory\n"
             "  Check its name, its rights and its content.\n");
        rows("no EDID", QStringList{dataPath("INDEX.md")}, 1,
             notAnEdid.arg(dataPath("INDEX.md") + ": \"#\" is not a hexadecimal byte"));
        rows("empty input", QStringList{"-"}, 1, notAnEdid.arg("standard input: it is empty"));
        rows("option", QStringList{"--jsn", "-"}, 2,
             wrong("unknown option '--jsn'; did you mean '--json'?"));
    }

    void failures()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, errors);
        const Run result = run(arguments);
        QCOMPARE(result.exitCode, exitCode);
        QCOMPARE(result.output, QString());
        QCOMPARE(result.errors, errors);
    }

    void helpAndVersion()
    {
        QVERIFY(run({"--help"}).output.contains("FILE REQUIRED"));
        QCOMPARE(run({"--version"}).output, QString("edid-report " EDID_REPORT_VERSION "\n"));
    }

    void outputThatCannotBeWritten()
    {
        const QString file = dataPath(monitor + ".bin");
        for (const QString &words : {file, "--json " + file, QString("--help"),
                                     QString("--version"), QString("--bash-completion")}) {
            // The third one is a pipe whose reader has ended.
            for (const QString output : {"> /dev/full", ">&-", ">&3"}) {
                const Run result = runProgram(
                    "bash", {"-c", "exec 3> >(:); wait $!; exec " EDID_REPORT_PROGRAM " " + words +
                                       " " + output});
                QVERIFY2(result.exitCode == 1, qPrintable(words + output));
                QCOMPARE(result.errors,
                         "edid-report: error: standard output cannot be written\n  Check that the "
                         "disk is not full and that the program that reads the output still "
                         "runs.\n");
            }
        }
    }

    void endsOnSignals()
    {
        QTemporaryDir folder;
        const QString fifo = folder.filePath("fifo");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        for (const QString &name : {QString("-"), fifo}) {
            for (const int number : {SIGINT, SIGTERM}) {
                ForkedProcess program;
                program.start(EDID_REPORT_PROGRAM, {name});
                QVERIFY(program.waitForStarted());
                QCOMPARE(::kill(pid_t(program.processId()), number), 0);
                QVERIFY(program.waitForFinished());
                QCOMPARE(program.exitStatus(), QProcess::CrashExit);
            }
        }
    }
};

AGENT_TEST(TestReportTool)

} // namespace tst_report_tool

#include "tst_report_tool.moc"
