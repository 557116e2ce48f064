// SPDX-License-Identifier: Apache-2.0
// The table of problems and exit statuses, and the page that lists them for users.
#include "common/Problems.h"
#include "support/TestCase.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>

namespace tst_problems {

namespace {

QString page()
{
    QFile file(QStringLiteral(SOURCE_DIR "/docs/reference/problems.md"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString rowOnPage(const ProblemRow &row)
{
    const QString status = QString::fromLatin1(row.engineStatus);
    return QStringLiteral("| `%1` | %2 | %3 | %4 | %5 |")
        .arg(QLatin1String(row.id), QString::number(int(row.exit)), QLatin1String(row.text),
             QLatin1String(row.advice), status.isEmpty() ? QStringLiteral("-") : status);
}

bool isId(const char *id)
{
    static const QRegularExpression pattern(QStringLiteral("\\A[a-z]+(-[a-z]+)*\\z"));
    return pattern.match(QString::fromLatin1(id)).hasMatch();
}

} // namespace

class TestProblems : public QObject
{
    Q_OBJECT

private slots:
    void everyExitStatusHasWords()
    {
        // What scripts depend on: these never change.
        const char *const names[] = {
            "done",   "failed",         "usage",           "nothing-to-do",
            "busy",   "cannot-connect", "connection-lost", "package-refused",
            "no-run", "not-trusted",    "not-passed"};
        QCOMPARE(exitCodes().size(), int(std::size(names)));
        for (int index = 0; index < exitCodes().size(); ++index) {
            QCOMPARE(int(exitCodes().at(index).code), index);
            QCOMPARE(exitCodeName(ExitCode(index)), QString::fromLatin1(names[index]));
            QVERIFY(qstrlen(exitCodes().at(index).meaning) > 0);
            const QString row =
                QStringLiteral("| %1 | `%2` | %3 |\n")
                    .arg(index)
                    .arg(names[index], QLatin1String(exitCodes().at(index).meaning));
            QVERIFY2(page().contains(row), qPrintable(row));
        }
    }

    void everyProblemHasWords()
    {
        QSet<QByteArray> ids;
        for (const ProblemRow &row : problemTable()) {
            QCOMPARE(&problemRow(row.problem), &row);
            QVERIFY2(isId(row.id), row.id);
            ids.insert(row.id);
            const QByteArray text = row.text;
            const QByteArray advice = row.advice;
            QVERIFY2(!text.isEmpty() && !text.endsWith('.'), row.id);
            QVERIFY2(QChar::isLower(uint(text.at(0))) || text.startsWith("--"), row.id);
            QVERIFY2(advice.endsWith('.'), row.id);
            QCOMPARE(row.exit == ExitCode::Done, row.problem == ProblemId::None);
        }
        QCOMPARE(ids.size(), int(problemTable().size()));
    }

    void thePageHasThemAll()
    {
        const QString text = page();
        int place = 0;
        for (const ProblemRow &row : problemTable()) {
            if (row.problem == ProblemId::None)
                continue;
            const int found = text.indexOf(rowOnPage(row));
            QVERIFY2(found > place, qPrintable(rowOnPage(row)));
            place = found;
        }
        const QString list = text.section(QStringLiteral("## Every problem"), 1)
                                 .section(QStringLiteral("\n## "), 0, 0);
        QCOMPARE(list.count(QStringLiteral("\n| `")), int(problemTable().size()) - 1);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestProblems)

} // namespace tst_problems

#include "tst_problems.moc"
