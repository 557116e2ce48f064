// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/UpgradeView.h"

#include "client/TimeText.h"
#include "client/UpgradeOutcome.h"
#include "common/Printable.h"
#include "upgrade-console/Bars.h"

#include <algorithm>

using client::clockText;
using client::leftText;
using client::McuPhase;
using client::McuResult;
using client::McuState;
using client::phaseName;
using client::resultName;
using client::RunPhase;
using client::RunPicture;
using client::TimeLeft;
using client::UpgradeModel;
using client::waitText;

namespace {

using std::chrono::milliseconds;

/** Widths of bars, in columns, brackets included. */
constexpr int shortestRowBar = 4;
/** The speed is shown only if the bar keeps this width. */
constexpr int easyBar = 12;
constexpr int longestRowBar = 32;

QString versionsText(const McuState &mcu)
{
    const bool isWritten = mcu.result == McuResult::Updated || mcu.willBeWritten();
    const QString from = mcu.oldVersion.isEmpty() ? QStringLiteral("?") : mcu.oldVersion;
    if (!isWritten || mcu.newVersion.isEmpty())
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

bool hasBar(const McuState &mcu)
{
    return mcu.isPercentKnown && (mcu.phase == McuPhase::Writing || mcu.phase == McuPhase::Erasing);
}

QStringList finishedParts(const McuState &mcu, milliseconds now)
{
    QStringList parts{versionsText(mcu)};
    if (mcu.result == McuResult::Failed)
        parts += QString::fromLatin1(problemRow(mcu.cause).text);
    if (mcu.seconds(now) >= 0)
        parts += QStringLiteral("%1 s").arg(mcu.seconds(now), 0, 'f', 1);
    return parts;
}

/** "waiting" for MCUs that are or were read, but are not the current one. */
QString stateOf(const RunPicture &picture, int row)
{
    const McuState &mcu = picture.model.mcus().at(row);
    if (mcu.phase == McuPhase::Finished)
        return resultName(mcu.result);
    const bool isPassed = mcu.phase == McuPhase::Reading && row != picture.model.current();
    return phaseName(isPassed ? McuPhase::Waiting : mcu.phase);
}

/** The parts after the bar that are shown at every width. */
QStringList workingParts(const RunPicture &picture, const McuState &mcu)
{
    QStringList parts;
    if (hasBar(mcu))
        parts += bars::percent(mcu.percent).trimmed();
    const TimeLeft left = picture.estimate.ofImage(mcu);
    if (mcu.phase == McuPhase::Writing && left.isWhole && !picture.wait)
        parts += leftText(left);
    if (mcu.retries > 0)
        parts += bars::retries(mcu.retries);
    return parts;
}

/** The bar fills the space that the other parts leave; versions and speed are shown if they fit. */
QString workingLine(const RunPicture &picture, const McuState &mcu, int width)
{
    QStringList parts = workingParts(picture, mcu);
    const auto used = [&] { return (parts + QStringList{QString()}).join(bars::separator).size(); };
    const auto addIfItFits = [&](int place, const QString &text, int bar) {
        const bool fits = used() + text.size() + (bar > 0 ? bars::gap + bar : 0) <= width;
        if (fits && !text.isEmpty())
            parts.insert(place, text);
        return fits && !text.isEmpty();
    };
    const bool hasVersions = addIfItFits(0, versionsText(mcu), hasBar(mcu) ? shortestRowBar : 0);
    if (!hasBar(mcu))
        return parts.join(bars::separator);
    const int place = hasVersions ? 1 : 0;
    if (mcu.phase == McuPhase::Writing && !picture.wait && mcu.rate(picture.now) > 0.0)
        addIfItFits(place + 1, bars::rate(mcu.rate(picture.now)), easyBar);
    const int space = std::min(int(width - used()), longestRowBar);
    if (space >= shortestRowBar)
        parts.insert(place, bars::barOf(mcu.percent, space));
    return parts.join(bars::separator);
}

/** One line, or more if the reason is long. */
QStringList mcuLines(const RunPicture &picture, int row, int width)
{
    const McuState &mcu = picture.model.mcus().at(row);
    const QString head = bars::head(mcu.label, stateOf(picture, row)) + bars::separator;
    if (mcu.phase != McuPhase::Finished)
        return bars::wrapped(head + workingLine(picture, mcu, width - head.size()), width)
            .mid(0, 1);
    QStringList parts = finishedParts(mcu, picture.now);
    if (mcu.retries > 0)
        parts += bars::retries(mcu.retries);
    parts.removeAll(QString());
    return bars::wrapped(head + parts.join(bars::separator), width, head.size());
}

QString overallLine(const RunPicture &picture, int width)
{
    const UpgradeModel &model = picture.model;
    const QString head =
        bars::head(QStringLiteral("all"), phaseName(model.phase())) + bars::separator;
    QStringList parts{bars::percent(model.percent()).trimmed()};
    const TimeLeft left = picture.estimate.ofRun(model, picture.now);
    if (left.time.count() > 0 && !picture.wait && model.phase() > RunPhase::Preparing)
        parts += leftText(left);
    if (head.size() + parts.join(bars::separator).size() > width && parts.size() > 1)
        parts.removeLast();
    const int space = width - head.size() - parts.join(bars::separator).size() - bars::gap;
    if (space >= shortestRowBar)
        parts.prepend(bars::barOf(model.percent(), std::min(space, longestRowBar)));
    return (head + parts.join(bars::separator)).left(width);
}

/** The overall bar, and below it what the run waits for, if it fits. */
QStringList lastLines(const RunPicture &picture, int width, int most)
{
    QStringList lines{overallLine(picture, width)};
    const QStringList wait =
        picture.wait ? bars::wrapped(waitText(*picture.wait), width) : QStringList();
    return lines.size() + wait.size() <= most ? lines + wait : lines;
}

/** The first MCU to show when not all of them have a line. */
int firstShown(const UpgradeModel &model, int space)
{
    const int count = model.mcus().size();
    const int start = model.hasEnded() ? count : model.current() - space / 2;
    return std::clamp(start, 0, std::max(0, count - space));
}

QString cell(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("-") : printable(text);
}

QStringList tableRow(const McuState &mcu, milliseconds now)
{
    const double seconds = mcu.seconds(now);
    return {cell(mcu.label), cell(mcu.oldVersion), cell(mcu.newVersion), resultName(mcu.result),
            seconds < 0 ? QStringLiteral("-") : QString::number(seconds, 'f', 1)};
}

} // namespace

QStringList liveLines(const RunPicture &picture, const Terminal &terminal)
{
    const UpgradeModel &model = picture.model;
    const int width = std::max(1, terminal.columns - 1);
    // One line is the cursor's, and one MCU is always shown.
    const int most = std::max(2, terminal.lines - 1);
    const QStringList last = lastLines(picture, width, most - 1);
    const int space = most - last.size();
    const int count = std::min(space, int(model.mcus().size()));
    const int first = firstShown(model, space);
    int spare = space - count;
    QStringList lines;
    for (int i = first; i < first + count; ++i) {
        QStringList own = mcuLines(picture, i, width);
        if (own.size() - 1 > spare)
            own = own.mid(0, 1 + spare);
        spare -= own.size() - 1;
        for (const QString &line : qAsConst(own))
            lines += terminal.style.in(colourOf(model.mcus().at(i)), line);
    }
    return lines + last;
}

QStringList alignedTable(const QVector<QStringList> &rows, const QVector<int> &right)
{
    QVector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (int i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths.at(i), int(row.at(i).size()));
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
    if (model.mcus().isEmpty())
        return {};
    QVector<QStringList> rows{{"MCU", "Old", "New", "Result", "Seconds"}};
    for (const McuState &mcu : model.mcus())
        rows.append(tableRow(mcu, now));
    QStringList lines = alignedTable(rows, {secondsColumn});
    for (int i = 0; i < model.mcus().size(); ++i)
        lines[i + 1] = style.in(colourOf(model.mcus().at(i)), lines.at(i + 1));
    return lines;
}

QStringList ChangeLines::next(const RunPicture &picture)
{
    QStringList lines;
    addPercent(lines, picture);
    addChanges(lines, picture.model);
    if (picture.wait && !m_isWaiting)
        lines += waitText(*picture.wait);
    m_isWaiting = picture.wait.has_value();
    return lines;
}

void ChangeLines::addPercent(QStringList &lines, const RunPicture &picture)
{
    constexpr int step = 10;
    const int tenth = int(picture.model.percent()) / step;
    if (tenth <= m_tenth)
        return;
    m_tenth = tenth;
    const auto passed =
        std::chrono::duration_cast<std::chrono::seconds>(picture.now - picture.started);
    QString line = QStringLiteral("%1 %, %2").arg(tenth * step).arg(clockText(passed));
    const TimeLeft left = picture.estimate.ofRun(picture.model, picture.now);
    if (left.time.count() > 0)
        line += QStringLiteral(", ") + leftText(left);
    lines += line;
}

void ChangeLines::addChanges(QStringList &lines, const UpgradeModel &model)
{
    m_seen.resize(model.mcus().size());
    for (int i = 0; i < m_seen.size(); ++i) {
        const McuState &mcu = model.mcus().at(i);
        Seen &seen = m_seen[i];
        const QString name = printable(mcu.label) + ": ";
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
}
