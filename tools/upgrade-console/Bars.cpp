// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Bars.h"

#include "upgrade-console/Terminal.h"

#include <algorithm>

namespace {

constexpr int nameWidth = 14;
constexpr int stateWidth = 12;
constexpr int barWidth = 20;

} // namespace

QString bars::bar(double percent)
{
    const int filled = std::clamp(int(percent / 100.0 * barWidth), 0, barWidth);
    return '[' + QString(filled, '#') + QString(barWidth - filled, '.') + ']';
}

QString bars::percent(double percent)
{
    return QStringLiteral("%1 %").arg(int(percent), 3);
}

QString bars::rate(double bytesPerSecond)
{
    return QStringLiteral("%1 KiB/s").arg(bytesPerSecond / 1024.0, 0, 'f', 1);
}

QString bars::left(std::chrono::seconds time)
{
    const qint64 seconds = time.count();
    return QStringLiteral("%1:%2 left")
        .arg(seconds / 60)
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
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
