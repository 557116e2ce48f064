// SPDX-License-Identifier: Apache-2.0
#include "device-check/Report.h"
#include "device-check/StepWatch.h"

#include <algorithm>

namespace devicecheck {

namespace {

constexpr int levelWidth = 13;
constexpr int stateWidth = 16;

int widestId()
{
    int widest = 0;
    for (const Point &point : points())
        widest = std::max(widest, int(qstrlen(point.id)));
    return widest;
}

QString pointLine(const Point &point, const QString &state, const QString &reason = {})
{
    return QString::fromLatin1(levelName(point.level)).leftJustified(levelWidth) + state +
           QString::fromLatin1(point.id).leftJustified(widestId() + 2) + QLatin1String(point.rule) +
           (reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(reason)) + QLatin1Char('\n');
}

QString stateText(State state)
{
    const QString name = QString::fromLatin1(stateName(state));
    return (state == State::Failed ? name.toUpper() : name).leftJustified(stateWidth);
}

QString framesText(const Result &result)
{
    QString text;
    for (const Exchange &exchange : result.exchanges) {
        text += QStringLiteral("    %1\n").arg(exchange.text);
        for (const Traffic &traffic : exchange.traffic)
            text +=
                QStringLiteral("    %1 s  %2 %3\n")
                    .arg(double(traffic.time.count()) / 1000.0, 9, 'f', 3)
                    .arg(traffic.isFromHost ? QStringLiteral("host  ") : QStringLiteral("device"),
                         hexText(traffic.bytes));
    }
    const QString unkept = unkeptText(result);
    return unkept.isEmpty() ? text : text + QStringLiteral("    %1\n").arg(unkept);
}

QString resultText(const Result &result, bool withFrames)
{
    const bool isFailed = result.state == State::Failed;
    QString text =
        pointLine(*result.point, stateText(result.state), isFailed ? QString() : result.reason);
    if (isFailed)
        text += QStringLiteral("  %1\n  see %2\n").arg(result.reason, referenceOf(*result.point));
    if (withFrames || isFailed)
        text += framesText(result);
    return text;
}

} // namespace

QString textReport(const Report &report, bool withFrames)
{
    const QString model = modelText(report.facts);
    QString text =
        QStringLiteral("Device: %1 at %2\n")
            .arg(model.isEmpty() ? QStringLiteral("model unknown") : model, report.address);
    if (!report.facts.chips.isEmpty())
        text += QStringLiteral("Chips: %1\n").arg(chipsText(report));
    text += QLatin1Char('\n');
    for (const Result &result : report.results)
        text += resultText(result, withFrames);
    return text + QStringLiteral("\n%1\n%2\n").arg(summaryText(report), verdictText(report));
}

QString textList()
{
    QString text;
    for (const Point &point : points())
        text += pointLine(point, QString::fromLatin1(point.isWriting ? "writes" : "reads")
                                     .leftJustified(stateWidth / 2));
    return text;
}

} // namespace devicecheck
