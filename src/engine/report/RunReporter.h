// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"

#include <QElapsedTimer>

#include <functional>

namespace engine {

/**
 * Tells the events of one run after the other, and keeps what they need: times, counts, and what
 * was told last. Outside of a run only installs are told, since a device may begin one by itself.
 */
class RunReporter
{
public:
    using Sink = std::function<void(const RunEvent &event)>;

    explicit RunReporter(Sink sink) : m_sink(std::move(sink)) {}

    void begin();
    /** Told once for each MCU in a row. */
    void reading(const RunMcu &mcu);
    void skip(const RunMcu &mcu, const QString &why);
    void write(const RunMcu &mcu, int bytes);
    /** Percent of the whole run; told when the whole number is another one. */
    void progress(double percent);
    void retry(const QString &name, int attempt, const QString &what);
    void giveUp(const QString &name, const QString &what);
    void written(bool success);
    void restarting();
    void installing(const QString &version);
    void installed(bool success);
    /** The first end of a run counts; a further one tells nothing. */
    void end(bool success, int status = 0);

private:
    void tell(RunEvent event);
    void tellTrouble(RunEvent::Kind kind, const QString &name, const QString &what, int attempt);

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
