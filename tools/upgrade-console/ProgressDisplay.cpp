// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/ProgressDisplay.h"

#include "common/Output.h"
#include "common/Printable.h"
#include "upgrade-console/Bars.h"

#include <unistd.h>

namespace {

constexpr qint64 shortestBetween = 100;

void toStderr(const QByteArray &bytes)
{
    writeAll(STDERR_FILENO, bytes);
}

} // namespace

ProgressDisplay::ProgressDisplay(bool mayDraw)
    : m_terminal(Terminal::of(STDERR_FILENO)),
      m_isLive(mayDraw && m_terminal.isTerminal && qgetenv("TERM") != "dumb"),
      m_screen(toStderr)
{
}

void ProgressDisplay::draw(const Picture &picture)
{
    const bool isEarly = m_sinceDrawn.isValid() && !m_sinceDrawn.hasExpired(shortestBetween);
    if (!m_isLive || isEarly)
        return;
    m_sinceDrawn.start();
    m_terminal = Terminal::of(STDERR_FILENO); // it may have been resized
    m_screen.show(picture(m_terminal));
}

void ProgressDisplay::print(const QStringList &lines)
{
    if (m_isLive)
        return;
    for (const QString &line : lines)
        toStderr(line.toUtf8() + '\n');
}

void ProgressDisplay::note(const QString &line)
{
    const QString text = printable(line);
    if (m_isLive)
        m_screen.note(bars::wrapped(text, m_terminal.columns - 1).join(QLatin1Char('\n')));
    else
        toStderr(text.toUtf8() + '\n');
}

void ProgressDisplay::ask(const QString &question)
{
    toStderr(question.toUtf8());
}

void ProgressDisplay::close()
{
    if (m_isLive)
        m_screen.show({});
    m_isLive = false;
}
