// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Bars.h"

#include "common/Printable.h"
#include "protocol/Progress.h"
#include "upgrade-console/Terminal.h"

#include <algorithm>

using protocol::wholeProgress;

namespace {

constexpr int nameWidth = 12;
constexpr int stateWidth = 13;
constexpr int shortestBar = 10;
constexpr int longestBar = 30;
/** The texts next to the bar: name, state, percent, rate, time, retries. */
constexpr int besideBar = 70;

} // namespace

QString bars::bar(double percent, int columns)
{
    return barOf(percent, std::clamp(columns - besideBar, shortestBar, longestBar) + 2);
}

QString bars::barOf(double percent, int outerWidth)
{
    const int width = std::max(outerWidth - 2, 0);
    const int filled = std::clamp(int(percent / wholeProgress * width), 0, width);
    return '[' + QString(filled, '#') + QString(width - filled, '.') + ']';
}

QString bars::percent(double percent)
{
    return QStringLiteral("%1 %").arg(int(percent), 3);
}

QString bars::rate(double bytesPerSecond)
{
    return QStringLiteral("%1 KiB/s").arg(bytesPerSecond / 1024.0, 0, 'f', 1);
}

QString bars::retries(int count)
{
    return count == 1 ? QStringLiteral("1 retry") : QStringLiteral("%1 retries").arg(count);
}

QString bars::head(const QString &name, const QString &state)
{
    return printable(name).left(nameWidth).leftJustified(nameWidth) + "  " +
           state.left(stateWidth).leftJustified(stateWidth);
}

QStringList bars::wrapped(const QString &text, int width, int indent)
{
    QStringList lines;
    QString rest = text;
    QString start;
    while (true) {
        const int space = std::max(1, width - int(start.size()));
        if (rest.size() <= space) {
            lines += (start + rest).left(std::max(1, width));
            return lines;
        }
        const int blank = rest.lastIndexOf(QLatin1Char(' '), space);
        const int end = blank > 0 ? blank : space;
        lines += (start + rest.left(end)).left(std::max(1, width));
        rest = rest.mid(end).trimmed();
        start = QString(std::clamp(indent, 0, std::max(0, width / 2)), QLatin1Char(' '));
    }
}
