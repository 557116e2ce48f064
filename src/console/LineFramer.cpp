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
    const int end = m_read.indexOf(lineSeparator, m_start);
    if (end < 0) {
        endRead();
        return;
    }
    finishLine(m_read.midRef(m_start, end - m_start));
    m_start = end + 1;
}

void LineFramer::endRead()
{
    const QString read = std::exchange(m_read, QString());
    const QStringRef tail = read.midRef(m_start);
    if (tail.endsWith(lineFeed)) {
        finishLine(tail);
        return;
    }
    m_rest += tail;
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

void LineFramer::finishLine(const QStringRef &end)
{
    const QString line = m_rest.isEmpty() ? end.trimmed().toString() : (m_rest + end).trimmed();
    m_rest = QString();
    if (!line.isEmpty())
        m_next = line;
}

} // namespace console
