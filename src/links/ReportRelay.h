// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvents.h"

#include <QObject>
#include <QTimer>
#include <QVector>

#include <chrono>
#include <optional>

namespace links {

/**
 * Hands the progress of the engine on to another thread, in groups: each wake-up of that thread
 * takes several times as long as the work for a block. The first value after a silence goes on at
 * once. Nothing overtakes a value that is held: each message and each other event of a run lets it
 * go first. Lives in the engine's thread.
 */
class ReportRelay : public QObject
{
    Q_OBJECT

public:
    /** A value is held for `interval` at most, and without one, none is held. */
    explicit ReportRelay(std::chrono::milliseconds interval, QObject *parent = nullptr);

    /** Takes the events of runs from here; the end of a run is announced without waiting. */
    void follow(const engine::RunEvents &events);

    /** Any thread may use this; values of another thread than the engine's are not held. */
    void takeProgress(double bytesSent, double bytesTotal);
    /** Of the progress events that are held, only the last one goes on. */
    void takeEvent(const engine::RunEvent &event);
    /** Lets go of what is held. */
    void flush();

    /** Where the events of runs come out. */
    const engine::RunEvents *runEvents() const { return &m_events; }

signals:
    void progressValueChanged(double bytesSent, double bytesTotal);

private:
    void onTimeOut();

    struct Progress
    {
        double bytesSent;
        double bytesTotal;
    };

    QTimer m_timer;
    QVector<Progress> m_held;
    std::optional<engine::RunEvent> m_heldEvent;
    engine::RunEvents m_events;
};

} // namespace links
