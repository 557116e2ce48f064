// SPDX-License-Identifier: Apache-2.0
#include "device-check/Report.h"
#include "device-check/StepWatch.h"

namespace devicecheck {

namespace {

const char *const style = R"(
body { font: 15px/1.5 sans-serif; margin: 2em auto; max-width: 72em; padding: 0 1em;
       color: #1c1c1c; background: #fff; }
h1 { font-size: 1.5em; margin-bottom: 0; }
.verdict { font-size: 1.15em; font-weight: bold; padding: .5em .8em; border-left: .4em solid; }
.verdict.passed { color: #14571f; background: #e9f5eb; }
.verdict.failed { color: #8c1212; background: #fbeaea; }
.verdict.not-tested { color: #6b4a00; background: #fdf4dc; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; vertical-align: top; padding: .35em .6em; border-bottom: 1px solid #ddd; }
th { border-bottom: 2px solid #888; }
td.state { white-space: nowrap; font-weight: bold; }
.passed td.state { color: #14571f; }
.failed td.state { color: #8c1212; }
.failed { background: #fdf5f5; }
.not-tested td.state { color: #6b4a00; }
.not-applicable td.state { color: #555; }
.reason { font-weight: bold; }
.reference { color: #555; font-size: .9em; overflow-wrap: anywhere; }
footer { color: #555; font-size: .9em; margin-top: 1em; }
details { margin-top: .2em; }
summary { cursor: pointer; color: #1a4f8b; }
pre { font: 13px/1.4 monospace; white-space: pre-wrap; overflow-wrap: anywhere; margin: .3em 0; }
pre b { font-weight: normal; color: #1a4f8b; }
@media (max-width: 50em) { th:nth-child(2), td:nth-child(2) { display: none; } }
)";

QString frameLines(const Exchange &exchange)
{
    QString lines;
    for (const Traffic &traffic : exchange.traffic) {
        const QString from =
            traffic.isFromHost ? QStringLiteral("<b>host  </b>") : QStringLiteral("device");
        lines += QStringLiteral("%1 s  %2 %3\n")
                     .arg(double(traffic.time.count()) / 1000.0, 9, 'f', 3)
                     .arg(from, hexText(traffic.bytes));
    }
    return lines;
}

QString exchangesHtml(const Result &result)
{
    if (result.exchanges.isEmpty())
        return {};
    QString html = QStringLiteral("<details%1><summary>frames</summary>")
                       .arg(result.state == State::Failed ? QStringLiteral(" open") : QString());
    for (const Exchange &exchange : result.exchanges)
        html += QStringLiteral("<pre>%1\n%2</pre>")
                    .arg(exchange.text.toHtmlEscaped(), frameLines(exchange));
    const QString unkept = unkeptText(result);
    if (!unkept.isEmpty())
        html += QStringLiteral("<p>%1</p>").arg(unkept);
    return html + QStringLiteral("</details>");
}

QString rowHtml(const Result &result)
{
    const Point &point = *result.point;
    const QString state = QString::fromLatin1(stateName(result.state));
    const QString reason = result.reason.isEmpty()
                               ? QString()
                               : QStringLiteral("<br><span class=\"reason\">%1</span>")
                                     .arg(result.reason.toHtmlEscaped());
    return QStringLiteral("<tr class=\"%1\" id=\"%2\"><td class=\"state\">%3</td><td>%4</td>"
                          "<td><code>%2</code></td><td>%5%6<br><span class=\"reference\">%7</span>"
                          "%8</td></tr>\n")
        .arg(state, QLatin1String(point.id),
             QString(state).replace(QLatin1Char('-'), QLatin1Char(' ')),
             QLatin1String(levelName(point.level)), QString::fromLatin1(point.rule).toHtmlEscaped(),
             reason, referenceOf(point), exchangesHtml(result));
}

QString verdictClass(const Report &report)
{
    if (hasPassed(report))
        return QStringLiteral("passed");
    return countOf(report, Level::Required, State::Failed) > 0 ? QStringLiteral("failed")
                                                               : QStringLiteral("not-tested");
}

} // namespace

QString htmlReport(const Report &report)
{
    const QString model = modelText(report.facts);
    const QString title =
        QStringLiteral("Check of %1")
            .arg((model.isEmpty() ? QStringLiteral("a device") : model).toHtmlEscaped());
    QString rows;
    for (const Result &result : report.results)
        rows += rowHtml(result);
    return QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                          "<meta name=\"viewport\" content=\"width=device-width\">\n"
                          "<title>") +
           title + QStringLiteral("</title>\n<style>") + QLatin1String(style) +
           QStringLiteral("</style>\n</head>\n<body>\n<h1>") + title +
           QStringLiteral("</h1>\n<p>At %1. Chips: %2.</p>\n")
               .arg(report.address.toHtmlEscaped(),
                    report.facts.chips.isEmpty() ? QStringLiteral("unknown") : chipsText(report)) +
           QStringLiteral("<p class=\"verdict %1\">%2</p>\n<p>%3</p>\n")
               .arg(verdictClass(report), verdictText(report), summaryText(report)) +
           QStringLiteral("<table>\n<tr><th>state</th><th>level</th><th>point</th><th>rule</th>"
                          "</tr>\n") +
           rows + QStringLiteral("</table>\n<footer>") + report.origin.toHtmlEscaped() +
           QStringLiteral("</footer>\n</body>\n</html>\n");
}

} // namespace devicecheck
