// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractEventDispatcher>
#include <QHash>
#include <QVector>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

/**
 * An event dispatcher on Linux's epoll(7): a turn of the event loop costs the same whatever the
 * number of sockets, of which the framework's own dispatchers look at each one. Sockets that are
 * ready at the same time are served in the order in which they were registered.
 *
 * To be set before the application object is made. Timers are as exact as a millisecond.
 */
class EpollDispatcher : public QAbstractEventDispatcher
{
public:
    /** Nothing when the kernel has no descriptors to give. */
    static std::unique_ptr<EpollDispatcher> make();
    ~EpollDispatcher() override;

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override;

    void registerSocketNotifier(QSocketNotifier *notifier) override;
    void unregisterSocketNotifier(QSocketNotifier *notifier) override;

    void registerTimer(int timerId, int interval, Qt::TimerType timerType,
                       QObject *object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int timerId) override;

    void wakeUp() override;
    void interrupt() override;
    void flush() override {}

private:
    using Clock = std::chrono::steady_clock;

    /** What is wanted of one descriptor. */
    struct Watch
    {
        /** Read, Write, Exception, as QSocketNotifier::Type counts them. */
        QSocketNotifier *notifiers[3] = {};
        quint32 number = 0;
        /** What the kernel was told. */
        quint32 told = 0;
        bool isStale = false;
    };

    struct Timer
    {
        int id = 0;
        std::chrono::milliseconds interval{0};
        Qt::TimerType type = Qt::CoarseTimer;
        QObject *object = nullptr;
        Clock::time_point due;
    };

    EpollDispatcher(int epoll, int waker);

    static quint32 wanted(const Watch &watch);
    void refresh(int descriptor, Watch &watch);
    void refreshStale();
    int timeOut(bool mayWait) const;
    bool serveSockets(bool mayWait);
    bool awaitWakeUp(bool mayWait);
    void serve(int descriptor, quint32 events);
    void takeWakeUp();
    bool fireTimers();

    int m_epoll;
    int m_waker;
    QHash<int, Watch> m_watches;
    QVector<int> m_stale;
    quint32 m_lastNumber = 0;
    std::vector<Timer> m_timers;
    std::atomic<bool> m_woken{false};
    std::atomic<bool> m_interrupted{false};
};
