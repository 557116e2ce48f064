// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"

#include <QElapsedTimer>

#include <functional>

namespace engine {

/**
 * Emits the events of a run and keeps what they need: times, counts and the last values. Outside of
 * a run only installs are reported, since a device may start one.
 */
class RunReporter
{
public:
    using Sink = std::function<void(const RunEvent &event)>;

    explicit RunReporter(Sink sink) : m_sink(std::move(sink)) {}

    void begin();
    /** The check of the package's signature; `text` is the verified comment or what is wrong. */
    void signature(bool success, const QString &key, const QString &text);
    /** Emitted once for consecutive calls with the same MCU. */
    void reading(const RunMcu &mcu);
    void skip(const RunMcu &mcu, const QString &why);
    void write(const RunMcu &mcu, int bytes);
    /** Percent of the whole run; emitted when the integer part changes. */
    void progress(double percent);
    void retry(const QString &name, int attempt, const QString &what);
    void giveUp(const QString &name, const QString &what);
    void written(bool success);
    void restarting();
    void installing(const QString &version);
    void installed(bool success);
    void resuming(const RunInstall &install);
    void resumed();
    void notResumed(const RunInstall &install, bool isPostponed, const QString &why);
    /** Only the first end of a run is emitted. */
    void end(bool success, int status = 0);

private:
    void send(RunEvent event);
    void sendFailure(RunEvent::Kind kind, const QString &name, const QString &what, int attempt);

    Sink m_sink;
    bool m_open = false;
    RunEvent m_state;
    QString m_installVersion;
    QElapsedTimer m_runTime;
    QElapsedTimer m_imageTime;
    QElapsedTimer m_installTime;
    bool m_writing = false;
};

} // namespace engine
