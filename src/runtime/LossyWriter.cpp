// SPDX-License-Identifier: Apache-2.0
#include "runtime/LossyWriter.h"

#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace runtime {

namespace {

qint64 linesIn(const QByteArray &bytes)
{
    return std::max(qint64(bytes.count('\n')), qint64(1));
}

/** How many bytes from an offset on are written in one call: whole lines if they fit into what a
 *  pipe writes atomically. */
int pieceOf(const QByteArray &bytes, int offset)
{
    const int most = std::min(int(bytes.size()) - offset, PIPE_BUF);
    const int lineEnd = int(bytes.lastIndexOf('\n', offset + most - 1));
    return lineEnd < offset ? most : lineEnd + 1 - offset;
}

/** Waits for the reader without a time limit. Returns how much was written: less than all when the
 *  reader has closed the pipe or the disk is full. */
int writeWaiting(int descriptor, const QByteArray &bytes)
{
    int written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + written, size_t(pieceOf(bytes, written)));
        if (count > 0) {
            written += int(count);
        } else if (count < 0 && errno == EAGAIN) {
            // Another process has made the shared file description non-blocking.
            pollfd output{descriptor, POLLOUT, 0};
            ::poll(&output, 1, -1);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return written;
}

} // namespace

InstantOutput::InstantOutput(int descriptor) : m_descriptor(descriptor)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) {
        // It is closed, and its number may be reused.
        m_descriptor = -1;
        return;
    }
    m_isSocket = S_ISSOCK(status.st_mode);
    m_mayBlock = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
    if (m_mayBlock) {
        const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
        m_reopened = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }
}

InstantOutput::~InstantOutput()
{
    if (m_reopened >= 0)
        ::close(m_reopened);
}

ssize_t InstantOutput::write(const QByteArray &bytes) const
{
    const auto size = size_t(bytes.size());
    if (m_isSocket)
        return ::send(m_descriptor, bytes.constData(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (!m_mayBlock)
        return ::write(m_descriptor, bytes.constData(), size);
    if (m_reopened >= 0)
        return ::write(m_reopened, bytes.constData(), size);
    errno = EAGAIN;
    return -1;
}

LossyWriter::LossyWriter(int descriptor, LossReport report, int limit)
    : m_descriptor(descriptor), m_output(descriptor), m_report(std::move(report)), m_limit(limit)
{
}

LossyWriter::~LossyWriter()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void LossyWriter::write(const QByteArray &lines)
{
    const std::lock_guard lock(m_mutex);
    // Lines kept after an earlier failure are written first.
    if (!m_handedOver && !m_kept.isEmpty())
        writeKept();
    keep(lines);
    if (!m_handedOver)
        writeKept();
}

bool LossyWriter::flush(std::chrono::milliseconds longest)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, longest, [this] { return !m_handedOver; });
    return !m_handedOver && m_kept.isEmpty();
}

/** After a lost line all further ones are lost until everything before them is written; the count
 *  then replaces them. */
void LossyWriter::keep(const QByteArray &lines)
{
    const bool isFirst = m_kept.isEmpty() && !m_handedOver;
    if (!isFirst && (m_lost > 0 || m_kept.size() + lines.size() > m_limit))
        m_lost += linesIn(lines);
    else
        m_kept += lines;
}

void LossyWriter::writeKept()
{
    while (!m_kept.isEmpty()) {
        const ssize_t written = m_output.write(m_kept);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            // After another error the next line tries again.
            if (written < 0 && errno == EAGAIN)
                handOver();
            return;
        }
        m_kept.remove(0, int(written));
        reportLoss();
    }
}

void LossyWriter::reportLoss()
{
    if (m_kept.isEmpty() && m_lost > 0)
        m_kept = m_report(std::exchange(m_lost, 0));
}

void LossyWriter::handOver()
{
    if (!m_thread.joinable()) {
        try {
            m_thread = std::thread([this] { serveReader(); });
        } catch (const std::system_error &) {
            return; // The next line tries again.
        }
    }
    m_handedOver = true;
    m_changed.notify_all();
}

/** The thread's function. Only the thread may block, and only while writing. */
void LossyWriter::serveReader()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_handedOver || m_ending; });
        if (!m_handedOver)
            return;
        const QByteArray batch = std::exchange(m_kept, {});
        lock.unlock();
        const int written = writeWaiting(m_descriptor, batch);
        lock.lock();
        const bool failed = written < batch.size();
        if (failed)
            m_kept.prepend(batch.mid(written));
        else
            reportLoss();
        if (failed || m_kept.isEmpty()) {
            m_handedOver = false;
            m_changed.notify_all();
        }
    }
}

} // namespace runtime
