// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimerEvent>

#include <algorithm>
#include <chrono>
#include <type_traits>
#include <vector>

/**
 * The main thread's event dispatcher, with a clock that the test controls. Timers expire in the
 * order in which they are due, with their real intervals, and no real time passes.
 */
class VirtualTime : public QAbstractEventDispatcher
{
public:
    using ms = std::chrono::milliseconds;
    using Interval = std::conditional_t<(QT_VERSION_MAJOR < 6), int, qint64>;

    /** The instance of this process, created with its application at the first call. */
    static VirtualTime &instance()
    {
        static VirtualTime *const time = make();
        return *time;
    }

    ms now() const { return m_now; }

    /** Advances the time; all timers that become due expire. */
    void advance(ms time)
    {
        const ms end = m_now + time;
        for (auto next = nextTimer(); next != m_timers.end() && next->due <= end;
             next = nextTimer())
            fire(next);
        m_now = end;
    }

    /** Advances the time until a timer expires. False when there is none. */
    bool fireNext()
    {
        const auto next = nextTimer();
        if (next == m_timers.end())
            return false;
        fire(next);
        return true;
    }

    bool processEvents(QEventLoop::ProcessEventsFlags) override
    {
        QCoreApplication::sendPostedEvents();
        return true;
    }
    void registerSocketNotifier(QSocketNotifier *) override {}
    void unregisterSocketNotifier(QSocketNotifier *) override {}

    void registerTimer(int id, Interval interval, Qt::TimerType type, QObject *object) override
    {
        const ms every(std::max<Interval>(interval, 1));
        m_timers.push_back({m_now + every, every, id, type, object});
    }

    bool unregisterTimer(int id) override
    {
        return eraseIf([id](const Timer &timer) { return timer.id == id; });
    }

    bool unregisterTimers(QObject *object) override
    {
        return eraseIf([object](const Timer &timer) { return timer.object == object; });
    }

    QList<TimerInfo> registeredTimers(QObject *object) const override
    {
        QList<TimerInfo> found;
        for (const Timer &timer : m_timers) {
            if (timer.object == object)
                found.append(TimerInfo(timer.id, int(timer.every.count()), timer.type));
        }
        return found;
    }

    int remainingTime(int id) override
    {
        const auto found = std::find_if(m_timers.begin(), m_timers.end(),
                                        [id](const Timer &timer) { return timer.id == id; });
        return found == m_timers.end() ? -1 : int((found->due - m_now).count());
    }

    void wakeUp() override {}
    void interrupt() override {}
#if QT_VERSION_MAJOR < 6
    bool hasPendingEvents() override
    {
        return false;
    }
    void flush() override {}
#endif

private:
    struct Timer
    {
        ms due;
        ms every;
        int id;
        Qt::TimerType type;
        QObject *object;
    };
    using Timers = std::vector<Timer>;

    static VirtualTime *make()
    {
        auto *time = new VirtualTime;
        QCoreApplication::setEventDispatcher(time);
        static int argc = 1;
        static char name[] = "test";
        static char *argv[] = {name, nullptr};
        static auto *const application = new QCoreApplication(argc, argv);
        Q_UNUSED(application)
        return time;
    }

    /** The next timer; of several that are due at the same time, the oldest. */
    Timers::iterator nextTimer()
    {
        return std::min_element(m_timers.begin(), m_timers.end(),
                                [](const Timer &a, const Timer &b) { return a.due < b.due; });
    }

    /** A timer repeats until it is unregistered, possibly in its own event. */
    void fire(Timers::iterator timer)
    {
        Timer fired = *timer;
        m_now = std::max(m_now, fired.due);
        fired.due = m_now + fired.every;
        m_timers.erase(timer);
        m_timers.push_back(fired);
        QTimerEvent event(fired.id);
        QCoreApplication::sendEvent(fired.object, &event);
        QCoreApplication::sendPostedEvents();
    }

    template<typename Condition>
    bool eraseIf(Condition condition)
    {
        const auto end = std::remove_if(m_timers.begin(), m_timers.end(), condition);
        const bool any = end != m_timers.end();
        m_timers.erase(end, m_timers.end());
        return any;
    }

    Timers m_timers;
    ms m_now{0};
};
