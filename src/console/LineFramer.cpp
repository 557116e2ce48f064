// SPDX-License-Identifier: Apache-2.0
#include "console/LineFramer.h"

namespace {

constexpr QLatin1Char lineSeparator('\r');
constexpr QLatin1Char lineFeed('\n');

} // namespace

LineFramer::Result LineFramer::feed(const QString &text)
{
    Result result;
    int start = 0;
    for (int end = text.indexOf(lineSeparator); end >= 0;
         end = text.indexOf(lineSeparator, start)) {
        finishLine(result.lines, text.midRef(start, end - start));
        start = end + 1;
    }
    const QStringRef tail = text.midRef(start);
    if (tail.endsWith(lineFeed)) {
        finishLine(result.lines, tail);
        return result;
    }
    m_rest += tail;
    if (m_rest.size() > m_limit) {
        m_rest = QString();
        result.overflow = true;
    }
    return result;
}

void LineFramer::finishLine(QStringList &lines, const QStringRef &end)
{
    const QString line = m_rest.isEmpty() ? end.trimmed().toString() : (m_rest + end).trimmed();
    m_rest = QString();
    if (!line.isEmpty())
        lines.append(line);
}
