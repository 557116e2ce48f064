// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

/**
 * Runs the event loop until `condition` holds or the limit has passed; returns whether it holds.
 * Waits for events and not for fixed times, so that a test takes no longer than necessary.
 */
template<typename Condition>
bool waitFor(Condition condition, int limitMilliseconds = 60'000)
{
    constexpr int look = 20; // for conditions that another thread makes true
    QTimer wakeUp;
    wakeUp.start(look);
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.hasExpired(limitMilliseconds))
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/** Processes all pending events, deferred deletions included. */
inline void settle()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
