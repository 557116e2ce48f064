// SPDX-License-Identifier: Apache-2.0
// The one table of lines and causes, held against everything that the agent can say.
#include "client/Messages.h"
#include "client/NetBlocks.h"
#include "client/ScriptedRun.h"
#include "engine/report/EngineTexts.h"
#include "engine/steps/StepTable.h"
#include "netupgrade/NetTexts.h"
#include "package/BuildTexts.h"
#include "planning/VersionTexts.h"
#include "protocol/AppStatus.h"
#include "protocol/ConsoleTexts.h"
#include "signing/SigningTexts.h"
#include "support/TestCase.h"
#include "upload/UploadTexts.h"

#include <QFile>
#include <QRegularExpression>

namespace client::tst_messages {

namespace nettext = netupgrade::nettext;
namespace uploadText = upload::uploadText;
using protocol::WireText;

namespace {

QString sourceOf(const QString &path)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
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
    for (const engine::Transition &line : engine::stepTable())
        texts += QString::fromLatin1(line.text);
    texts.removeAll(QString());
    return texts;
}

template<size_t count>
QStringList textsOf(const WireText (&table)[count])
{
    QStringList texts;
    for (const WireText &entry : table)
        texts += QString::fromLatin1(entry.text);
    return texts;
}

QStringList engineTexts()
{
    return textsOf(engine::text::all) + QStringList{protocol::key::connectFail};
}

QStringList netTexts()
{
    QStringList texts = textsOf(nettext::all);
    // Outside any line.
    texts.removeAll(nettext::isUpgrading);
    texts.removeAll(nettext::isNotUpgrading);
    return texts;
}

/** What the console server itself sends as log lines. */
QStringList serverTexts()
{
    QStringList texts;
    for (const QString &text : textsOf(protocol::consoletext::all))
        if (text.startsWith("UPGRADELOG||") && text != "UPGRADELOG||")
            texts += text.mid(12).remove("\r\n");
    texts.replaceInStrings(QRegularExpression(" $"), " %1");
    return texts;
}

QMap<QString, QStringList> allTexts()
{
    return {
        {"engine", engineTexts()},
        {"steps", stepTexts()},
        // The words that leave the uploader as messages.
        {"uploader", {uploadText::success, uploadText::fail, uploadText::retry}},
        {"net", netTexts()},
        {"decisions", textsOf(planning::versiontext::all)},
        {"building", textsOf(package::buildtext::all)},
        {"signatures", textsOf(signing::signtext::all)},
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

/** The state that a line gives to the current chip, in the words of
 *  docs/reference/console-protocol.md; empty when its turn continues, or ends without a line. */
QString endOfTurn(const QString &text)
{
    const QString name = text.contains("'%4'") ? "4" : "1";
    const ScriptedRun run = ScriptedRun({name}).play({"enter " + name, filledIn(text)});
    switch (run.model.mcus().first().result) {
    case McuResult::Updated:
        return "updated";
    case McuResult::Current:
    case McuResult::PackageOlder:
        return "skipped";
    case McuResult::NothingFits:
        return "no fit";
    case McuResult::Failed:
        return "failed";
    default:
        return {};
    }
}

/** What the two groups of a pattern capture in each line of a text that it matches. */
QVector<QPair<QString, QString>> pairsIn(const QString &text, const QString &pattern)
{
    QVector<QPair<QString, QString>> pairs;
    const QRegularExpression line(pattern, QRegularExpression::MultilineOption);
    auto matches = line.globalMatch(text);
    while (matches.hasNext()) {
        const auto match = matches.next();
        pairs.append({match.captured(1), match.captured(2)});
    }
    return pairs;
}

/** The page's table: the line, and what it makes of the chip. */
QMap<QString, QString> endsOfTurnOnThePage()
{
    const QString section = sourceOf("docs/reference/console-protocol.md")
                                .section("### The end of a chip's turn\n", 1)
                                .section("\n### ", 0, 0);
    QMap<QString, QString> ends;
    for (const auto &[line, end] : pairsIn(section, R"(^\| `([^`]+)` \| ([a-z ]+) \| .*\|$)"))
        ends[line] = end;
    return ends;
}

/** Id and advice in the tables of the page. Where one text is sent as several lines, the advice is
 *  that of the line with a cause. */
QMap<QString, QString> idsOnThePage(const QMap<QString, QString> &wanted)
{
    QMap<QString, QString> found;
    for (const auto &[advice, cell] :
         pairsIn(sourceOf("docs/reference/messages.md"), R"(^\| `.*\| ([^|]+) \| (`[^|]+`) \|$)")) {
        const QStringList ids = QString(cell).remove('`').split(", ");
        bool isKnown = false;
        for (const QString &id : ids)
            isKnown = isKnown || wanted.value(id) == advice;
        for (const QString &id : ids)
            found[id] = isKnown && ids.size() > 1 ? wanted.value(id) : advice;
    }
    return found;
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

    /** Every text has a row, and every row a text, an id, and advice. */
    void textsAndRows()
    {
        QSet<QString> shapes;
        const auto texts = allTexts();
        for (const QStringList &source : texts) {
            for (const QString &line : linesOf(source)) {
                shapes += shapeOf(line);
                QVERIFY2(meaningOf(filledIn(line)).event != LineEvent::Unknown, qPrintable(line));
            }
        }
        static const QRegularExpression word("\\A[a-z0-9]+(-[a-z0-9]+)*\\z");
        QSet<QString> ids;
        for (const MessageRow &row : messageTable()) {
            QVERIFY2(shapes.contains(shapeOf(lineOf(row))), row.text);
            // No earlier row with another meaning matches first.
            const LineMeaning meaning = meaningOf(filledIn(lineOf(row)));
            QVERIFY2(meaning.event == row.event && meaning.cause == row.cause, row.text);
            QCOMPARE(meaning.id, QString(row.id));
            QVERIFY2(word.match(row.id).hasMatch() && !ids.contains(row.id), row.id);
            ids += row.id;
            QVERIFY2(adviceOf(row).isEmpty() || adviceOf(row).endsWith('.'), row.id);
            QVERIFY2((row.advice == nullptr) == (row.cause != ProblemId::None), row.id);
        }
    }

    /** Every line that ends a step as failed has a reason and advice. */
    void everyFailingStepHasACause()
    {
        // A product-information read continues without the virtual version.
        const QStringList harmless = {"Read virtual version fail.", "Read virtual version error."};
        int count = 0;
        for (const QString &text : stepTexts()) {
            const bool isFailure = text.contains("fail") || text.contains("error");
            if (!isFailure || text.contains("retry") || harmless.contains(text))
                continue;
            ++count;
            QVERIFY2(meaningOf(filledIn(text)).cause != ProblemId::None, qPrintable(text));
        }
        QVERIFY(count >= 10);
    }

    void everyStatusOfTheEngineHasACause()
    {
        const QStringList statuses = textsOf(protocol::appStatus::all);
        QVERIFY(statuses.size() >= 6);
        QStringList known;
        for (const ProblemRow &row : problemTable())
            known += QString::fromLatin1(row.engineStatus).split(' ');
        for (const QString &status : statuses)
            QVERIFY2(known.contains(status), qPrintable(status));
    }

    void everyStatusOfAnAnswerHasACause()
    {
        QMap<QString, ProblemId> causes;
        for (const auto &[name, value] :
             pairsIn(sourceOf("src/protocol/Statuses.h"), R"(constexpr quint8 (\w+) = (\d+);)"))
            causes[name] = problemOfBlockStatus(quint8(value.toInt()));
        const QMap<QString, ProblemId> wanted = {{"done", ProblemId::None},
                                                 {"checksumError", ProblemId::BlockDamaged},
                                                 {"refused", ProblemId::BlockRefused}};
        QVERIFY(causes == wanted);
        QVERIFY(problemOfBlockStatus(200) == ProblemId::BlockRefused);
    }

    void thePageHasEveryIdWithItsAdvice()
    {
        QMap<QString, QString> wanted;
        for (const MessageRow &row : messageTable()) {
            const QString cause = QString::fromLatin1(problemRow(row.cause).id);
            const QString advice =
                adviceOf(row).isEmpty() ? QStringLiteral("Nothing.") : adviceOf(row);
            wanted[row.id] = row.cause == ProblemId::None
                                 ? advice
                                 : QStringLiteral("`%1`: %2").arg(cause, advice);
        }
        const QMap<QString, QString> page = idsOnThePage(wanted);
        for (auto id = wanted.begin(); id != wanted.end(); ++id)
            QCOMPARE(id.key() + ": " + page.value(id.key()), id.key() + ": " + id.value());
        QCOMPARE(page.size(), wanted.size());
    }

    void thePageListsTheEndsOfATurn()
    {
        QMap<QString, QString> wanted;
        QSet<QString> lines;
        for (const MessageRow &row : messageTable()) {
            lines += lineOf(row);
            if (const QString end = endOfTurn(lineOf(row)); !end.isEmpty())
                wanted[lineOf(row)] = end;
        }
        QCOMPARE(wanted.value("'%1' F/W Update fail."), QString("failed"));
        // Only about an image that is sent block by block, outside of a run.
        QCOMPARE(wanted.take("NET package checksum error."), QString("failed"));
        // The program waits for the end of the run before it judges these.
        wanted[engine::text::noImage] = "failed";
        const QMap<QString, QString> page = endsOfTurnOnThePage();
        for (auto end = page.begin(); end != page.end(); ++end)
            QVERIFY2(lines.contains(end.key()), qPrintable(end.key()));
        for (auto end = wanted.begin(); end != wanted.end(); ++end)
            QVERIFY2(page.value(end.key()) == end.value(), qPrintable(end.key()));
        QCOMPARE(page, wanted);
    }

    void thePageHasTheTimesOfTheHeartbeats()
    {
        const auto seconds = [](std::chrono::milliseconds time) {
            return QString::number(double(time.count()) / 1000.0);
        };
        const QString page = sourceOf("docs/reference/console-protocol.md");
        ScriptedRun run({"1"});
        const AnswerWatch &watch = run.watch;
        QVERIFY(page.contains("send a `HEARTBEAT` after " + seconds(watch.heartbeatAfter()) +
                              " s without any byte"));
        run.play({"Write firmware '1' success."});
        QVERIFY(page.contains("After `Write firmware '%1' success.` wait " +
                              seconds(watch.heartbeatAfter()) + " s:"));
    }

    void values_data()
    {
        const tests::DataTable<QString, QStringList> row("line", "values");
        row("two-part version", "Read 'AUX' version success, version is V1.2", {"AUX", "1", "2"});
        row("three-part version", "Read 'AUX' version success, version is V1.2.3",
            {"AUX", "1", "2", "3"});
        row("name with a quote", "Write firmware 'A'B' success.", {"A'B"});
        row("name with a percent sign", "'%1' F/W Update fail.", {"%1"});
        row("empty name", "'' F/W Update fail.", {""});
        row("decision",
            "Firmware version V1.2.3 greater than the 'X' version V4.5.6, will upgrade.",
            {"1", "2", "3", "X", "4", "5", "6"});
        row("keyed", "READPI||Read bootcode information of 'X'.", {"X"});
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

AGENT_TEST_WITHOUT_APPLICATION(TestMessages)

} // namespace client::tst_messages

#include "tst_messages.moc"
