// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/UpgradeView.h"

#include "upgrade-console/Bars.h"
#include "upgrade-console/UpgradeOutcome.h"

#include <QJsonObject>

#include <algorithm>

namespace {

using std::chrono::milliseconds;

QString versionsText(const McuState &mcu)
{
    const QString from = mcu.oldVersion.isEmpty() ? QStringLiteral("?") : mcu.oldVersion;
    if (mcu.result != McuResult::Updated || mcu.newVersion.isEmpty())
        return mcu.oldVersion;
    return from + " -> " + mcu.newVersion;
}

Colour colourOf(const McuState &mcu)
{
    switch (mcu.result) {
    case McuResult::Updated:
        return Colour::Green;
    case McuResult::Failed:
        return Colour::Red;
    case McuResult::Current:
    case McuResult::PackageOlder:
    case McuResult::NothingFits:
    case McuResult::NotReached:
        return Colour::Faint;
    case McuResult::Open:
    case McuResult::Unknown:
        break;
    }
    return mcu.retries > 0 || mcu.result == McuResult::Unknown ? Colour::Yellow : Colour::Plain;
}

QStringList finishedParts(const McuState &mcu, milliseconds now)
{
    QStringList parts{versionsText(mcu)};
    if (mcu.result == McuResult::Failed)
        parts += QString::fromLatin1(causeRow(mcu.cause).words);
    if (mcu.seconds(now) >= 0)
        parts += QStringLiteral("%1 s").arg(mcu.seconds(now), 0, 'f', 1);
    return parts;
}

QStringList workingParts(const McuState &mcu, milliseconds now, int columns)
{
    QStringList parts;
    if (mcu.phase == McuPhase::Writing || mcu.phase == McuPhase::Erasing)
        parts += bars::bar(mcu.percent, columns) + ' ' + bars::percent(mcu.percent);
    if (mcu.phase == McuPhase::Writing && mcu.rate(now) > 0)
        parts += bars::rate(mcu.rate(now));
    if (mcu.timeLeft(now).count() >= 0)
        parts += bars::left(mcu.timeLeft(now));
    return parts;
}

QString mcuLine(const McuState &mcu, milliseconds now, int columns)
{
    const bool isFinished = mcu.phase == McuPhase::Finished;
    const QString state = isFinished ? resultName(mcu.result) : phaseName(mcu.phase);
    QStringList parts = isFinished ? finishedParts(mcu, now) : workingParts(mcu, now, columns);
    if (mcu.retries > 0)
        parts += bars::retries(mcu.retries);
    parts.removeAll(QString());
    return bars::head(mcu.name, state) + "  " + parts.join("  ");
}

QString overallLine(const UpgradeModel &model, int columns)
{
    return bars::head(QStringLiteral("all"), phaseName(model.phase())) + "  " +
           bars::bar(model.percent(), columns) + ' ' + bars::percent(model.percent());
}

/** The first MCU to show when not all of them have a line. */
int firstShown(const UpgradeModel &model, int room)
{
    const int count = model.mcus().size();
    const int start = model.hasEnded() ? count : model.current() - room / 2;
    return std::clamp(start, 0, std::max(0, count - room));
}

QString cell(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("-") : printable(text);
}

QStringList tableRow(const McuState &mcu, milliseconds now)
{
    const double seconds = mcu.seconds(now);
    return {cell(mcu.name), cell(mcu.oldVersion), cell(mcu.newVersion), resultName(mcu.result),
            seconds < 0 ? QStringLiteral("-") : QString::number(seconds, 'f', 1)};
}

} // namespace

QStringList liveLines(const UpgradeModel &model, milliseconds now, const Terminal &terminal)
{
    // One line is the overall bar's, one the cursor's.
    const int room = std::max(1, terminal.lines - 2);
    const int count = std::min(room, model.mcus().size());
    const int first = firstShown(model, room);
    const int width = std::max(1, terminal.columns - 1);
    QStringList lines;
    for (int i = first; i < first + count; ++i) {
        const McuState &mcu = model.mcus().at(i);
        lines += terminal.style.in(colourOf(mcu), mcuLine(mcu, now, terminal.columns).left(width));
    }
    lines += overallLine(model, terminal.columns).left(width);
    return lines;
}

QStringList alignedTable(const QVector<QStringList> &rows, const QVector<int> &right)
{
    QVector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (int i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths.at(i), row.at(i).size());
    }
    QStringList lines;
    for (const QStringList &row : rows) {
        QString line;
        for (int i = 0; i < row.size(); ++i) {
            const bool toRight = right.contains(i);
            line += (i > 0 ? "  " : "") + (toRight ? row.at(i).rightJustified(widths.at(i))
                                                   : row.at(i).leftJustified(widths.at(i)));
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        lines += line;
    }
    return lines;
}

QStringList resultTable(const UpgradeModel &model, milliseconds now, const Style &style)
{
    constexpr int secondsColumn = 4;
    QVector<QStringList> rows{{"MCU", "Old", "New", "Result", "Seconds"}};
    for (const McuState &mcu : model.mcus())
        rows.append(tableRow(mcu, now));
    QStringList lines = alignedTable(rows, {secondsColumn});
    for (int i = 0; i < model.mcus().size(); ++i)
        lines[i + 1] = style.in(colourOf(model.mcus().at(i)), lines.at(i + 1));
    return lines;
}

QJsonArray resultJson(const UpgradeModel &model, milliseconds now)
{
    QJsonArray array;
    for (const McuState &mcu : model.mcus()) {
        QJsonObject object{
            {"name", mcu.name},
            {"old_version", mcu.oldVersion},
            {"new_version", mcu.newVersion},
            {"result", resultName(mcu.result)},
            {"retries", mcu.retries},
        };
        if (mcu.seconds(now) >= 0)
            object["seconds"] = mcu.seconds(now);
        if (mcu.cause != Cause::None)
            object["error"] = causeJson(mcu.cause);
        array.append(object);
    }
    return array;
}

QStringList ChangeTeller::changes(const UpgradeModel &model)
{
    QStringList lines;
    m_seen.resize(model.mcus().size());
    for (int i = 0; i < m_seen.size(); ++i) {
        const McuState &mcu = model.mcus().at(i);
        Seen &seen = m_seen[i];
        const QString name = printable(mcu.name) + ": ";
        if (mcu.retries > seen.retries)
            lines += name + bars::retries(mcu.retries);
        if (mcu.phase != seen.phase && mcu.phase != McuPhase::Finished)
            lines += name + phaseName(mcu.phase);
        if (mcu.result != seen.result)
            lines += name + resultName(mcu.result);
        seen = {mcu.phase, mcu.result, mcu.retries};
    }
    const bool isNews = model.phase() != m_phase && model.phase() > RunPhase::Writing;
    if (isNews && model.phase() != RunPhase::Ended)
        lines += "device: " + phaseName(model.phase());
    m_phase = model.phase();
    return lines;
}
