// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QVector>

#include <deque>
#include <optional>

namespace web {

/** One event as server-sent events (HTML Living Standard, 9.2) has it; `id` may be empty. */
QByteArray eventFrame(const QByteArray &id, const QJsonObject &event);

/** The last events of the server, for viewers that reconnect. The number of events is bounded. */
class EventLog
{
public:
    /** `start` names this start of the server, so that an id of an earlier one is not mistaken for
     *  one of this. */
    explicit EventLog(const QByteArray &start, int capacity = defaultCapacity)
        : m_start(start), m_capacity(capacity)
    {
    }

    static constexpr int defaultCapacity = 2000;

    /** Appends the event, with the time added. */
    void append(QJsonObject event);
    /** The number of the newest event; they count from 1. */
    qint64 newest() const { return m_newest; }
    QByteArray idOf(qint64 number) const;
    /** The number of an id that this start of the server has sent. */
    std::optional<qint64> numberOf(const QByteArray &id) const;
    /** Whether every event after that one is still here. */
    bool hasAllAfter(qint64 number) const;
    /** The event of that number as a frame. */
    QByteArray frame(qint64 number) const;

private:
    const QByteArray m_start;
    const int m_capacity;
    qint64 m_newest = 0;
    std::deque<QByteArray> m_frames;
};

} // namespace web
