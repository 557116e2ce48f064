// SPDX-License-Identifier: Apache-2.0
#include "device-check/Commands.h"
#include "device-check/Report.h"
#include "device-check/StepWatch.h"

#include <QJsonArray>

namespace devicecheck {

namespace {

double seconds(milliseconds time)
{
    return double(time.count()) / 1000.0;
}

QJsonObject pointJson(const Point &point)
{
    return {{QStringLiteral("id"), QLatin1String(point.id)},
            {QStringLiteral("level"), QLatin1String(levelName(point.level))},
            {QStringLiteral("writes"), point.isWriting},
            {QStringLiteral("rule"), QLatin1String(point.rule)},
            {QStringLiteral("reference"), referenceOf(point)}};
}

QJsonObject exchangeJson(const Exchange &exchange)
{
    QJsonArray frames;
    for (const Traffic &traffic : exchange.traffic)
        frames.append(
            QJsonObject{{QStringLiteral("from"),
                         traffic.isFromHost ? QStringLiteral("host") : QStringLiteral("device")},
                        {QStringLiteral("seconds"), seconds(traffic.time)},
                        {QStringLiteral("bytes"), hexText(traffic.bytes)}});
    return {{QStringLiteral("text"), exchange.text},
            {QStringLiteral("problem"), exchange.problem},
            {QStringLiteral("traffic"), frames}};
}

QJsonObject resultJson(const Result &result)
{
    QJsonArray exchanges;
    for (const Exchange &exchange : result.exchanges)
        exchanges.append(exchangeJson(exchange));
    QJsonObject json = pointJson(*result.point);
    json[QStringLiteral("state")] = QLatin1String(stateName(result.state));
    json[QStringLiteral("reason")] = result.reason;
    json[QStringLiteral("exchanges")] = exchanges;
    json[QStringLiteral("unkept_exchanges")] = result.unkept;
    return json;
}

QJsonArray chipsJson(const Facts &facts)
{
    QJsonArray chips;
    for (const Chip chip : facts.chips)
        chips.append(
            QJsonObject{{QStringLiteral("chip_type"), chip.type},
                        {QStringLiteral("chip_index"), chip.index},
                        {QStringLiteral("version"), versionText(facts.versions.value(chip))}});
    return chips;
}

} // namespace

QJsonObject jsonReport(const Report &report)
{
    QJsonArray results;
    for (const Result &result : report.results)
        results.append(resultJson(result));
    return {{QStringLiteral("address"), report.address},
            {QStringLiteral("model"), modelText(report.facts)},
            {QStringLiteral("chips"), chipsJson(report.facts)},
            {QStringLiteral("passed"), hasPassed(report)},
            {QStringLiteral("half_written"), isLeftHalfWritten(report)},
            {QStringLiteral("points"), results}};
}

QJsonObject jsonList()
{
    QJsonArray list;
    for (const Point &point : points())
        list.append(pointJson(point));
    return {{QStringLiteral("points"), list}};
}

} // namespace devicecheck
