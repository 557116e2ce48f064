// SPDX-License-Identifier: Apache-2.0
#include "console/LineFramer.h"

namespace console {

namespace {

constexpr QLatin1Char lineSeparator('\r');
constexpr QLatin1Char lineFeed('\n');

} // namespace

void LineFramer::feed(const QString &text)
{
    Q_ASSERT(m_read.isEmpty() && !m_next);
    m_read = text;
    m_start = 0;
}

const QString *LineFramer::next()
{
    while (!m_next && !m_read.isEmpty())
        cutNext();
    return m_next ? &*m_next : nullptr;
}

void LineFramer::cutNext()
{
    const int end = int(m_read.indexOf(lineSeparator, m_start));
    if (end < 0) {
        endRead();
        return;
    }
    finishLine(m_read.constData() + m_start, end - m_start);
    m_start = end + 1;
}

void LineFramer::endRead()
{
    const QString read = std::exchange(m_read, QString());
    const QChar *const tail = read.constData() + m_start;
    const int length = int(read.size()) - m_start;
    if (length > 0 && read.endsWith(lineFeed)) {
        finishLine(tail, length);
        return;
    }
    m_rest.append(tail, length);
    if (m_rest.size() > m_limit) {
        m_rest = QString();
        m_overflow = true;
    }
}

void LineFramer::drop()
{
    m_rest = QString();
    m_read = QString();
    m_next.reset();
}

void LineFramer::finishLine(const QChar *end, int length)
{
    m_rest.append(end, length);
    const QString line = std::exchange(m_rest, QString()).trimmed();
    if (!line.isEmpty())
        m_next = line;
}

} // namespace console
