// SPDX-License-Identifier: Apache-2.0
#include "common/Progress.h"
#include "fwm/Findings.h"
#include "fwm/Words.h"
#include "support/Pty.h"
#include "support/StandardErrorCatch.h"
#include "support/TestCase.h"

#include <QtTest>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace tst_words {

using bytes::BytesSource;
using package::PackageDescription;
using package::parseDescription;

namespace {

/** Puts a terminal in the place of standard error. */
class ErrorTerminal
{
public:
    ErrorTerminal() : m_before(::dup(STDERR_FILENO))
    {
        const int slave = ::open(qPrintable(m_terminal.port()), O_RDWR | O_NOCTTY);
        ::dup2(slave, STDERR_FILENO);
        ::close(slave);
    }
    ~ErrorTerminal()
    {
        ::dup2(m_before, STDERR_FILENO);
        ::close(m_before);
    }
    ErrorTerminal(const ErrorTerminal &) = delete;
    ErrorTerminal &operator=(const ErrorTerminal &) = delete;

    QByteArray shown()
    {
        std::fflush(stderr);
        return m_terminal.readNow();
    }

private:
    Pty m_terminal;
    int m_before;
};

constexpr std::chrono::milliseconds atOnce{0};

} // namespace

class TestWords : public QObject
{
    Q_OBJECT

private slots:
    void tablesAlign()
    {
        QCOMPARE(tableText({{"a", "b", ""}, {"long", "", "c"}}),
                 QStringLiteral("a     b\nlong     c\n"));
        QCOMPARE(imageCountText(0), QStringLiteral("0 images"));
        QCOMPARE(imageCountText(1), QStringLiteral("1 image"));
        QCOMPARE(specialityText('Z'), QStringLiteral("Z"));
        QCOMPARE(specialityText(0), QString());
        QCOMPARE(specialityText(27), QStringLiteral("27"));
        QCOMPARE(offsetText(0x1234), QStringLiteral("0x00001234"));
    }

    void progressOnATerminal()
    {
        ErrorTerminal terminal;
        BytesSource bytes(QByteArray(400, 'x'));
        {
            Progress progress(QStringLiteral("file"), 800, true, atOnce);
            ProgressSource source(bytes, progress);
            QCOMPARE(source.read(0, 300).size(), 300);
            QCOMPARE(terminal.shown(), QByteArray("\rfile  37%"));
        }
        QCOMPARE(terminal.shown(), QByteArray("\r\x1b[K"));
        {
            // More than there was to do never shows as more than everything.
            Progress progress(QStringLiteral("file"), 10, true, atOnce);
            progress.add(1000);
            QCOMPARE(terminal.shown(), QByteArray("\rfile 100%"));
        }
        terminal.shown();
        {
            Progress unwanted(QStringLiteral("file"), 10, false, atOnce);
            unwanted.add(5);
            Progress nothing(QStringLiteral("file"), 0, true, atOnce);
            nothing.add(5);
            Progress tooSoon(QStringLiteral("file"), 10, true, std::chrono::hours(1));
            tooSoon.add(5);
        }
        QCOMPARE(terminal.shown(), QByteArray());
    }

    void progressNowhereElse()
    {
        const StandardErrorCatch standardError;
        Progress progress(QStringLiteral("file"), 10, true, atOnce);
        progress.add(5);
        std::fflush(stderr);
        QVERIFY(!standardError.hasCaught());
    }

    void schema_data()
    {
        const tests::DataTable<QByteArray, QByteArray, QString, QString> row("value", "insteadOf",
                                                                             "wrong", "allowed");
        const char *const number = R"(a decimal number from "1" to "255", as a string)";
        const char *const letter = R"(one letter from "A" to "Z")";
        row(R"("N")", R"("M")", "", "");
        row(R"("model":5,)", R"("model":"M",)", "model is 5", "a string");
        row("no version", "", R"("version":"1",)", "version is missing", "a string");
        row("null", R"("MAIN")", "chips[0].name is null", "a string");
        row(R"("chip_type":"0")", R"("chip_type":"1")", R"(chips[0].chip_type is "0")", number);
        row(R"("chip_type":"one")", R"("chip_type":"1")", R"(chips[0].chip_type is "one")", number);
        row(R"("chip_type":" 1")", R"("chip_type":"1")", R"(chips[0].chip_type is " 1")", number);
        row(R"("chip_quanity":1)", R"("chip_quanity":"1")", "chips[0].chip_quanity is 1", number);
        row(R"("mcu_type":"0")", R"("mcu_type":"1")", R"(chips[0].mcus[0].mcu_type is "0")",
            number);
        row(R"("pcb_version":"256")", R"("pcb_version":"1")",
            R"(chips[0].mcus[0].pcbs[0].pcb_version is "256")", number);
        row(R"("speciality":"")", R"("speciality":"A")",
            R"(chips[0].mcus[0].pcbs[0].speciality is "")", letter);
        row(R"("speciality":"a")", R"("speciality":"A")",
            R"(chips[0].mcus[0].pcbs[0].speciality is "a")", letter);
        row(R"("speciality":"AB")", R"("speciality":"A")",
            R"(chips[0].mcus[0].pcbs[0].speciality is "AB")", letter);
        row(R"("ver3":"1234567890")", R"("ver3":"3")",
            R"(chips[0].mcus[0].pcbs[0].ver3 is "1234567890")",
            R"(a decimal number from "0" to "255", as a string)");
        row(R"([7,{"name":"A1")", R"([{"name":"A1")", "chips[0].mcus[0].pcbs[0] is 7", "an object");
    }

    void schema()
    {
        QFETCH(QByteArray, value);
        QFETCH(QByteArray, insteadOf);
        QFETCH(QString, wrong);
        QFETCH(QString, allowed);
        QByteArray json =
            R"({"model":"M","version":"1","chips":[{"name":"MAIN","chip_type":"1","chip_quanity":"1",)"
            R"("mcus":[{"mcu_type":"1","pcbs":[{"name":"A1","pcb_version":"1","speciality":"A",)"
            R"("ver1":"1","ver2":"2","ver3":"3"}]}]}]})";
        QVERIFY(json.contains(insteadOf));
        json.replace(insteadOf, value);

        PackageContents contents;
        contents.header.jsonOffset = 15;
        contents.description = parseDescription(json);
        QCOMPARE(contents.description.error, PackageDescription::Error::None);
        const QVector<Finding> findings = schemaFindings(contents);
        QCOMPARE(findings.size(), wrong.isEmpty() ? 0 : 1);
        if (findings.isEmpty())
            return;
        QCOMPARE(findings.first().text, wrong + "; it must be " + allowed);
        QCOMPARE(findings.first().offset, 15);
        QCOMPARE(findings.first().severity, Finding::Severity::Error);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestWords)

} // namespace tst_words

#include "tst_words.moc"
