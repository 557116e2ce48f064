// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

#include <QElapsedTimer>
#include <QString>

#include <chrono>
#include <mutex>

/**
 * A line on standard error that shows the progress of a long operation. It is shown on a terminal
 * only, and only when the operation takes long enough to be noticed.
 */
class Progress
{
public:
    using ms = std::chrono::milliseconds;

    /**
     * `total` is in bytes; `wanted` is false when the user disabled it. An operation that ends
     * within `quiet` shows nothing.
     */
    Progress(QString label, qint64 total, bool wanted, ms quiet = ms{500});
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /** From any thread. */
    void add(qint64 bytes);

private:
    std::mutex m_mutex;
    QString m_label;
    qint64 m_total;
    qint64 m_done = 0;
    ms m_nextDrawing;
    bool m_enabled;
    bool m_drawn = false;
    QElapsedTimer m_clock;
};

/** A source that reports every read to a progress line. */
class ProgressSource : public bytes::ByteSource
{
public:
    ProgressSource(bytes::ByteSource &source, Progress &progress)
        : m_source(&source), m_progress(&progress)
    {
    }

    qint64 size() const override { return m_source->size(); }
    QByteArray read(qint64 offset, qint64 length) override;
    qint64 readInto(qint64 offset, char *buffer, qint64 length) override;

private:
    bytes::ByteSource *m_source;
    Progress *m_progress;
};
