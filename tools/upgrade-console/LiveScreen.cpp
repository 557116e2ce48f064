// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/LiveScreen.h"

namespace {

const char *const eraseLine = "\r\x1b[2K";
const char *const eraseBelow = "\x1b[J";

} // namespace

void LiveScreen::show(const QStringList &lines)
{
    const QByteArray start = upToFirst();
    m_lines = lines;
    m_sink(start + drawn() + eraseBelow);
}

void LiveScreen::note(const QString &line)
{
    m_sink(upToFirst() + eraseBelow + line.toUtf8() + '\n' + drawn() + eraseBelow);
}

QByteArray LiveScreen::upToFirst() const
{
    // The terminal may have shown a key, such as ^C, where the cursor waits.
    const QByteArray start = "\r";
    return m_lines.isEmpty() ? start : start + "\x1b[" + QByteArray::number(m_lines.size()) + 'A';
}

QByteArray LiveScreen::drawn() const
{
    QByteArray bytes;
    for (const QString &line : m_lines)
        bytes += eraseLine + line.toUtf8() + '\n';
    return bytes;
}
