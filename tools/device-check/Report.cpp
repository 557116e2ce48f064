// SPDX-License-Identifier: Apache-2.0
#include "device-check/Report.h"

#include "device-check/Commands.h"

#include <QStringList>

#include <algorithm>

namespace devicecheck {

namespace {

const char *const protocolPage = "docs/reference/mcu-protocol.md";

const Result *resultOf(const Report &report, const char *id)
{
    const auto found =
        std::find_if(report.results.begin(), report.results.end(),
                     [id](const Result &result) { return qstrcmp(result.point->id, id) == 0; });
    return found == report.results.end() ? nullptr : &*found;
}

QString countsText(const Report &report, Level level)
{
    QStringList counts;
    for (const State state :
         {State::Passed, State::Failed, State::NotTested, State::NotApplicable}) {
        const int count = countOf(report, level, state);
        if (count > 0)
            counts += QStringLiteral("%1 %2").arg(count).arg(
                QString::fromLatin1(stateName(state)).replace(QLatin1Char('-'), QLatin1Char(' ')));
    }
    return QStringLiteral("%1 points: %2")
        .arg(QLatin1String(levelName(level)), counts.join(QStringLiteral(", ")));
}

QString pointsText(int count, const char *what)
{
    return QStringLiteral("%1 required %2 %3")
        .arg(count)
        .arg(count == 1 ? QStringLiteral("point") : QStringLiteral("points"), QLatin1String(what));
}

} // namespace

int countOf(const Report &report, Level level, State state)
{
    return int(std::count_if(report.results.begin(), report.results.end(),
                             [level, state](const Result &result) {
                                 return result.point->level == level && result.state == state;
                             }));
}

bool hasPassed(const Report &report)
{
    return countOf(report, Level::Required, State::Failed) == 0 &&
           countOf(report, Level::Required, State::NotTested) == 0;
}

bool isLeftHalfWritten(const Report &report)
{
    const Result *begun = resultOf(report, "first-block");
    const Result *image = resultOf(report, "image");
    return begun != nullptr && image != nullptr && !begun->exchanges.isEmpty() &&
           image->state != State::Passed;
}

QString referenceOf(const Point &point)
{
    return QStringLiteral("%1#%2").arg(QLatin1String(protocolPage), QLatin1String(point.section));
}

QString summaryText(const Report &report)
{
    const QString text = countsText(report, Level::Required) + QLatin1String("; ") +
                         countsText(report, Level::Recommended);
    return text.left(1).toUpper() + text.mid(1) + QLatin1Char('.');
}

QString verdictText(const Report &report)
{
    const int failed = countOf(report, Level::Required, State::Failed);
    const int untested = countOf(report, Level::Required, State::NotTested);
    if (failed > 0)
        return QStringLiteral("The device does not pass: %1.").arg(pointsText(failed, "failed"));
    if (untested > 0)
        return QStringLiteral("The device has not passed yet: %1.")
            .arg(pointsText(untested, "not tested"));
    return QStringLiteral("The device passes.");
}

QString chipsText(const Report &report)
{
    QStringList texts;
    for (const Chip chip : report.facts.chips) {
        const QString version = versionText(report.facts.versions.value(chip));
        texts += QStringLiteral("%1,%2 (%3)")
                     .arg(chip.type)
                     .arg(chip.index)
                     .arg(version.isEmpty() ? QStringLiteral("version unknown") : version);
    }
    return texts.join(QStringLiteral(", "));
}

QString modelText(const Facts &facts)
{
    QByteArray model = facts.model;
    while (model.endsWith('\0'))
        model.chop(1);
    return QString::fromUtf8(model);
}

QString unkeptText(const Result &result)
{
    return result.unkept == 0
               ? QString()
               : QStringLiteral("%1 more exchanges like these passed").arg(result.unkept);
}

} // namespace devicecheck
