// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/runs/RunClaim.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <utility>

namespace engine {

/** Whether something is in flight, by which claim, and the watchdog of a run that shows no sign of
 *  life. */
class RunGuard : public QObject
{
    Q_OBJECT

public:
    RunGuard(std::chrono::milliseconds limit, QObject *parent) : QObject(parent), m_timer(this)
    {
        m_timer.setInterval(limit);
        m_timer.setSingleShot(true);
        connect(&m_timer, &QTimer::timeout, this, &RunGuard::expired);
    }

    /** Any thread may use this. */
    RunClaim &claim() { return m_claim; }
    /** An upgrade or a single-file write is in flight. */
    bool isActive() const { return m_active; }

    /** A product-information read or write, which is claimed, but not watched. */
    void beginUnwatched() { m_run = m_claim.take(); }
    void begin()
    {
        beginUnwatched();
        m_active = true;
        m_timer.start();
    }
    void keepAlive()
    {
        if (m_active)
            m_timer.start();
    }
    /** Every claim is announced as ended here, so that none is kept. */
    void end()
    {
        m_timer.stop();
        m_active = false;
        if (m_run != RunClaim::none)
            emit ended(std::exchange(m_run, RunClaim::none));
    }
    bool isWatching() const { return m_timer.isActive(); }

signals:
    void expired();
    void ended(RunClaim::Number run);

private:
    RunClaim m_claim;
    RunClaim::Number m_run = RunClaim::none;
    bool m_active = false;
    QTimer m_timer;
};

} // namespace engine
