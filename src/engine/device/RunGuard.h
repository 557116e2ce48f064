// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/runs/RunClaim.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <utility>

namespace engine {

/** The state and claim of the current operation, and the watchdog of a run without progress. */
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
    /** An upgrade or a single-file write is in progress. */
    bool isActive() const { return m_active; }

    /** Begins a product-information read or write, which has a claim but no watchdog. */
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
    /** Announces the end of the claim, so that it is always released. */
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
