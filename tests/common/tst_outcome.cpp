// SPDX-License-Identifier: Apache-2.0
// The one form of JSON documents, and the lines for people.
#include "common/CommandOutcome.h"
#include "common/Output.h"
#include "support/TestCase.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <unistd.h>

namespace tst_outcome {

class TestOutcome : public QObject
{
    Q_OBJECT

private slots:
    void documentOfASuccess()
    {
        CommandOutcome outcome;
        outcome.json = {{"file", "a.fwm"}};
        outcome.warnings = {{"net-version", "the version is odd", "a.fwm:0x10"}};
        QCOMPARE(resultDocument("info", outcome),
                 (QJsonObject{{"command", "info"},
                              {"exit", 0},
                              {"result", "done"},
                              {"error", QJsonValue::Null},
                              {"warnings", QJsonArray{QJsonObject{{"id", "net-version"},
                                                                  {"text", "the version is odd"},
                                                                  {"detail", "a.fwm:0x10"}}}},
                              {"file", "a.fwm"}}));
    }

    void documentOfAFailure()
    {
        const auto outcome = CommandOutcome::failed(ProblemId::Busy, "now");
        const ProblemRow &row = problemRow(ProblemId::Busy);
        QCOMPARE(resultDocument({}, outcome),
                 (QJsonObject{{"command", QJsonValue::Null},
                              {"exit", 4},
                              {"result", "busy"},
                              {"error", QJsonObject{{"id", "busy"},
                                                    {"text", row.text},
                                                    {"advice", row.advice},
                                                    {"detail", "now"}}},
                              {"warnings", QJsonArray()}}));
        CommandOutcome partly;
        partly.json = {{"file", "x"}};
        partly.fail(ProblemId::ChecksumWrong, "x");
        QCOMPARE(resultDocument("info", partly).value("file").toString(), QString("x"));
        QCOMPARE(int(partly.exit), 7);
    }

    void adviceOfTheCase()
    {
        const Problem problem{ProblemId::Interrupted, {}, "Leave the device on.\nThen ask again."};
        QCOMPARE(problemJson(problem).toObject().value("advice").toString(), problem.advice);
        QCOMPARE(diagnosis("p", CommandOutcome::failed(problem)),
                 (QStringList{"p: error: interrupted by the user", "  Leave the device on.",
                              "  Then ask again."}));
        QCOMPARE(problemJson(std::nullopt), QJsonValue(QJsonValue::Null));
    }

    void lines()
    {
        const QJsonObject document = resultDocument("run", CommandOutcome());
        const QByteArray indented = documentBytes(document, OutputForm::Json);
        QCOMPARE(QJsonDocument::fromJson(indented).object(), document);
        QVERIFY(indented.count('\n') > 3);

        for (const QByteArray &line :
             {documentBytes(document, OutputForm::JsonLines), eventLine({{"event", "result"}})}) {
            QCOMPARE(line.count('\n'), 1);
            QVERIFY(line.endsWith('\n'));
            const QJsonObject read = QJsonDocument::fromJson(line).object();
            QCOMPARE(read.value("event").toString(), QString("result"));
            const auto time =
                QDateTime::fromString(read.value("time").toString(), Qt::ISODateWithMs);
            QVERIFY(qAbs(time.secsTo(QDateTime::currentDateTimeUtc())) < 60);
        }
    }

    void linesForPeople()
    {
        CommandOutcome outcome =
            CommandOutcome::failed(ProblemId::FileUnreadable, "a\x1b: no such file");
        outcome.warnings = {{"odd", "this is odd", {}}, {"odder", "this\nalso", "b"}};
        QCOMPARE(diagnosis("fwm", outcome),
                 (QStringList{"fwm: warning: this is odd [odd]",
                              "fwm: warning: this\\u000aalso: b [odder]",
                              "fwm: error: the file cannot be read: a\\u001b: no such file",
                              "  Check its name, its rights and its content."}));
        QCOMPARE(diagnosis("fwm", CommandOutcome()), QStringList());
    }

    void outputThatCannotBeWritten()
    {
        const int output = ::dup(STDOUT_FILENO);
        const int errors = ::dup(STDERR_FILENO);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        CommandOutcome outcome;
        outcome.text = QStringLiteral("lost");
        const int text = writeOutcome("p", "c", OutputForm::Text, outcome);
        const int json = writeOutcome("p", "c", OutputForm::Json, outcome);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(errors, STDERR_FILENO);
        ::close(output);
        ::close(errors);
        QCOMPARE(text, int(ExitCode::Failed));
        QCOMPARE(json, int(ExitCode::Failed));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestOutcome)

} // namespace tst_outcome

#include "tst_outcome.moc"
