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
 * Forwards the progress of the engine to another thread, in groups: each wake-up of that thread
 * takes several times as long as the work for a block. The first value after a pause is forwarded
 * at once. The order is kept: held values are sent before each message and each other event of a
 * run. Lives in the engine's thread.
 */
class ReportRelay : public QObject
{
    Q_OBJECT

public:
    /** A value is held for at most `interval`; with 0 none is held. */
    explicit ReportRelay(std::chrono::milliseconds interval, QObject *parent = nullptr);

    /** Forwards these events of runs; the end of a run is not held. */
    void follow(const engine::RunEvents &events);

    /** Any thread may call this; values from other threads than the engine's are not held. */
    void takeProgress(double bytesSent, double bytesTotal);
    /** Of held progress events only the last one is sent. */
    void takeEvent(const engine::RunEvent &event);
    /** Sends what is held. */
    void flush();

    /** Emits the forwarded events of runs. */
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
