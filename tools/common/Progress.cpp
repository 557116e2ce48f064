// SPDX-License-Identifier: Apache-2.0
#include "common/Progress.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::chrono::milliseconds betweenDrawings{100};
constexpr qint64 percent = 100;

} // namespace

Progress::Progress(QString label, qint64 total, bool wanted, ms quiet)
    : m_label(std::move(label)),
      m_total(total),
      m_nextDrawing(quiet),
      m_enabled(wanted && total > 0 && ::isatty(STDERR_FILENO) != 0)
{
    m_clock.start();
}

Progress::~Progress()
{
    // Carriage return and "erase to the end of the line" (ECMA-48).
    if (m_drawn)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::add(qint64 bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_done += bytes;
    if (!m_enabled)
        return;
    const ms elapsed{m_clock.elapsed()};
    if (elapsed < m_nextDrawing)
        return;
    m_nextDrawing = elapsed + betweenDrawings;
    m_drawn = true;
    const qint64 done = std::min(m_done, m_total);
    std::fprintf(stderr, "\r%s %3d%%", qPrintable(m_label), int(done * percent / m_total));
    std::fflush(stderr);
}

QByteArray ProgressSource::read(qint64 offset, qint64 length)
{
    QByteArray bytes = m_source->read(offset, length);
    m_progress->add(bytes.size());
    return bytes;
}

qint64 ProgressSource::readInto(qint64 offset, char *buffer, qint64 length)
{
    const qint64 count = m_source->readInto(offset, buffer, length);
    m_progress->add(count);
    return count;
}
