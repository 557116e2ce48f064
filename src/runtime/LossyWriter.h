// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <sys/types.h>
#include <thread>

namespace runtime {

/**
 * Writes without blocking and without changing the flags of the file description, which other
 * processes may share: a pipe or a terminal is opened a second time with O_NONBLOCK, a socket is
 * used with MSG_DONTWAIT, and a regular file never blocks.
 */
class InstantOutput
{
public:
    explicit InstantOutput(int descriptor);
    ~InstantOutput();
    InstantOutput(const InstantOutput &) = delete;
    InstantOutput &operator=(const InstantOutput &) = delete;

    /** The number of bytes written, or -1 with errno: EAGAIN when none can be written at once, and
     *  always when the pipe or terminal cannot be opened a second time. */
    ssize_t write(const QByteArray &bytes) const;

private:
    int m_descriptor;
    bool m_isSocket = false;
    bool m_mayBlock = false;
    int m_reopened = -1;
};

/**
 * Lines for a descriptor whose reader may stop reading. No caller ever waits, in any thread: what
 * can be written at once is written at once. The rest is kept up to a limit, and a thread started
 * then writes it when the reader continues. Lines beyond the limit are dropped and counted, and the
 * count is written after the kept lines. Every line is written completely before the next one.
 */
class LossyWriter
{
public:
    /** Makes the line, with its line end, that reports lost ones. */
    using LossReport = std::function<QByteArray(qint64 lines)>;

    /** In bytes. While the thread writes, the same amount again may be kept. */
    static constexpr int mostKept = 256 * 1024;

    LossyWriter(int descriptor, LossReport report, int limit = mostKept);
    /** Waits until the reader has read what is kept, or has closed. */
    ~LossyWriter();
    LossyWriter(const LossyWriter &) = delete;
    LossyWriter &operator=(const LossyWriter &) = delete;

    /** One or more whole lines. */
    void write(const QByteArray &lines);
    /** Waits until everything is written, but at most `longest`; returns whether it is. */
    bool flush(std::chrono::milliseconds longest);

private:
    void keep(const QByteArray &lines);
    void writeKept();
    void handOver();
    void serveReader();
    void reportLoss();

    const int m_descriptor;
    const InstantOutput m_output;
    const LossReport m_report;
    const int m_limit;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    /** Not yet written or passed to the thread. */
    QByteArray m_kept;
    qint64 m_lost = 0;
    /** The thread has something to write; only the thread writes then. */
    bool m_handedOver = false;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace runtime
