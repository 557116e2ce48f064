// SPDX-License-Identifier: Apache-2.0
// The one table of lines and causes, held against everything that the agent can say.
#include "engine/steps/StepTable.h"
#include "upgrade-console/Messages.h"

#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

namespace {

QString sourceOf(const QString &path)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString unescaped(QString text)
{
    return text.replace("\\r", "\r").replace("\\n", "\n").replace("\\\"", "\"");
}

/** Every string literal, pieces that stand beside each other joined. */
QStringList literalsOf(const QString &source)
{
    static const QRegularExpression run(R"re("(?:[^"\\\n]|\\.)*"(?:\s*"(?:[^"\\\n]|\\.)*")*)re");
    static const QRegularExpression piece(R"re("((?:[^"\\\n]|\\.)*)")re");
    QStringList literals;
    auto runs = run.globalMatch(source);
    while (runs.hasNext()) {
        QString text;
        auto pieces = piece.globalMatch(runs.next().captured(0));
        while (pieces.hasNext())
            text += pieces.next().captured(1);
        literals += unescaped(text);
    }
    return literals;
}

QString between(const QString &source, const QString &start, const QString &end)
{
    const int from = source.indexOf(start);
    return source.mid(from, source.indexOf(end, from) - from);
}

/** A text of several lines arrives as several lines. */
QStringList linesOf(const QStringList &texts)
{
    QStringList lines;
    for (const QString &text : texts)
        lines += text.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
    return lines;
}

QStringList stepTexts()
{
    QStringList texts;
    for (const Transition &line : stepTable())
        texts += QString::fromLatin1(line.text);
    texts.removeAll(QString());
    return texts;
}

QStringList engineTexts()
{
    const QString source = sourceOf("src/engine/report/EngineTexts.h");
    return literalsOf(between(source, "namespace text {", "} // namespace text")) +
           QStringList{"ConnectFail"};
}

/** The words of the uploader that leave it as messages. */
QStringList uploaderTexts()
{
    return literalsOf(between(sourceOf("src/upload/UploadTexts.h"), "namespace uploadText {",
                              "constexpr char tooMuch"));
}

QStringList netTexts()
{
    QStringList texts =
        literalsOf(between(sourceOf("src/netupgrade/NetTexts.h"), "inline QString packageStart()",
                           "/** First element of the list"));
    // Two pieces with the version between them.
    texts.removeAll("NET firmware ver");
    texts.removeAll(" upgrade success.");
    return texts + QStringList{"NET firmware ver%1 upgrade success."};
}

QStringList decisionTexts()
{
    return literalsOf(between(sourceOf("src/planning/CandidateWalk.cpp"), "words[] = {", "};"));
}

QStringList buildTexts()
{
    return literalsOf(between(sourceOf("src/package/BuildTexts.h"), "namespace buildtext {",
                              "} // namespace buildtext"));
}

/** What the console server itself sends as log lines. */
QStringList serverTexts()
{
    QStringList texts;
    for (const QString &text : literalsOf(sourceOf("src/protocol/ConsoleTexts.h")))
        if (text.startsWith("UPGRADELOG||") && text != "UPGRADELOG||")
            texts += text.mid(12).remove("\r\n");
    texts.replaceInStrings(QRegularExpression(" $"), " %1");
    return texts;
}

QMap<QString, QStringList> allTexts()
{
    return {
        {"engine", engineTexts()}, {"steps", stepTexts()},         {"uploader", uploaderTexts()},
        {"net", netTexts()},       {"decisions", decisionTexts()}, {"building", buildTexts()},
        {"server", serverTexts()},
    };
}

/** The same for a text with places, with numbers, or with both. */
QString shapeOf(QString text)
{
    static const QRegularExpression value(R"(%\d|\d+)");
    return text.replace(value, "#");
}

/** Values in all places: the number of the place. */
QString filledIn(QString text)
{
    static const QRegularExpression place(R"(%(\d))");
    return text.replace(place, "\\1");
}

} // namespace

class TestMessages : public QObject
{
    Q_OBJECT

private slots:
    void sourcesAreRead()
    {
        const auto texts = allTexts();
        for (auto source = texts.begin(); source != texts.end(); ++source)
            QVERIFY2(source->size() >= 3, qPrintable(source.key()));
        QVERIFY(engineTexts().size() > 60);
        QVERIFY(stepTexts().size() > 45);
    }

    void everyTextHasARow()
    {
        const auto texts = allTexts();
        for (auto source = texts.begin(); source != texts.end(); ++source) {
            for (const QString &line : linesOf(*source)) {
                const LineMeaning meaning = meaningOf(filledIn(line));
                QVERIFY2(meaning.event != LineEvent::Unknown,
                         qPrintable(source.key() + ": " + line));
            }
        }
    }

    void everyRowHasAText()
    {
        QSet<QString> shapes;
        const auto texts = allTexts();
        for (const QStringList &source : texts)
            for (const QString &line : linesOf(source))
                shapes += shapeOf(line);
        for (const MessageRow &row : messageTable())
            QVERIFY2(shapes.contains(shapeOf(QString::fromLatin1(row.text))), row.text);
    }

    /** No row is hidden behind an earlier one of another meaning. */
    void everyRowIsFound()
    {
        for (const MessageRow &row : messageTable()) {
            const LineMeaning meaning = meaningOf(filledIn(QString::fromLatin1(row.text)));
            QVERIFY2(meaning.event == row.event && meaning.cause == row.cause, row.text);
        }
    }

    /** Whatever ends a step for good says why and what helps. */
    void everyFailingStepHasACause()
    {
        // A product-information read goes on without the virtual version.
        const QStringList harmless = {"Read virtual version fail.", "Read virtual version error."};
        int count = 0;
        for (const QString &text : stepTexts()) {
            const bool isFailure = text.contains("fail") || text.contains("error");
            if (!isFailure || text.contains("retry") || harmless.contains(text))
                continue;
            ++count;
            QVERIFY2(meaningOf(filledIn(text)).cause != Cause::None, qPrintable(text));
        }
        QVERIFY(count >= 10);
    }

    void everyStatusOfTheEngineHasACause()
    {
        const QStringList statuses =
            literalsOf(between(sourceOf("src/engine/report/AppStatus.h"), "namespace appStatus {",
                               "} // namespace app"));
        QVERIFY(statuses.size() >= 6);
        for (const QString &status : statuses) {
            bool isKnown = false;
            for (const CauseRow &row : causeTable())
                isKnown =
                    isKnown || QString::fromLatin1(row.engineStatus).split(' ').contains(status);
            QVERIFY2(isKnown, qPrintable(status));
        }
    }

    void everyStatusOfAnAnswerHasACause()
    {
        static const QRegularExpression constant(R"(constexpr quint8 (\w+) = (\d+);)");
        QMap<QString, Cause> causes;
        auto matches = constant.globalMatch(sourceOf("src/protocol/Statuses.h"));
        while (matches.hasNext()) {
            const auto match = matches.next();
            causes[match.captured(1)] = causeOfBlockStatus(quint8(match.captured(2).toInt()));
        }
        const QMap<QString, Cause> wanted = {{"done", Cause::None},
                                             {"checksumError", Cause::BlockDamaged},
                                             {"refused", Cause::BlockRefused}};
        QVERIFY(causes == wanted);
        QVERIFY(causeOfBlockStatus(200) == Cause::BlockRefused);
    }

    void causesAreComplete()
    {
        QSet<QString> ids;
        for (size_t i = 0; i < causeTable().size(); ++i) {
            const CauseRow &row = causeTable().at(i);
            QCOMPARE(size_t(row.cause), i);
            ids += QString::fromLatin1(row.id);
            const QString words = QString::fromLatin1(row.words);
            QVERIFY2(!words.isEmpty() && !words.endsWith('.'), row.id);
            QVERIFY2(QString::fromLatin1(row.advice).endsWith('.'), row.id);
        }
        QCOMPARE(size_t(ids.size()), causeTable().size());
        QCOMPARE(causeTable().back().cause, Cause::BlockUnanswered);
    }

    void theGuideListsEveryCause()
    {
        const QString guide = sourceOf("docs/upgrade-console.md");
        for (const CauseRow &row : causeTable()) {
            if (row.cause == Cause::None)
                continue;
            const QString line =
                QStringLiteral("| `%1` | %2 | %3 |").arg(row.id).arg(int(row.exit)).arg(row.words);
            QVERIFY2(guide.contains(line), qPrintable(line));
        }
    }

    void values_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("values");
        QTest::newRow("two-part version")
            << "Read 'AUX' version success, version is V1.2" << QStringList({"AUX", "1", "2"});
        QTest::newRow("three-part version") << "Read 'AUX' version success, version is V1.2.3"
                                            << QStringList({"AUX", "1", "2", "3"});
        QTest::newRow("name with a quote")
            << "Write firmware 'A'B' success." << QStringList({"A'B"});
        QTest::newRow("name with a percent sign") << "'%1' F/W Update fail." << QStringList({"%1"});
        QTest::newRow("empty name") << "'' F/W Update fail." << QStringList({""});
        QTest::newRow("decision")
            << "Firmware version V1.2.3 greater than the 'X' version V4.5.6, will upgrade."
            << QStringList({"1", "2", "3", "X", "4", "5", "6"});
        QTest::newRow("keyed") << "READPI||Read bootcode information of 'X'." << QStringList({"X"});
    }

    void values()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, values);
        QCOMPARE(meaningOf(line).values, values);
    }

    void foreignLines()
    {
        for (const char *line : {"", "x", "'", "''", "Version:", "Read '", "'X' F/W Update fail"})
            QVERIFY2(meaningOf(line).event == LineEvent::Unknown, line);
    }
};

QTEST_APPLESS_MAIN(TestMessages)

#include "tst_messages.moc"
