// SPDX-License-Identifier: Apache-2.0
#include "platform/EpollDispatcher.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr int eventBatch = 1024;
constexpr quint32 troubles = EPOLLHUP | EPOLLERR;
/** By QSocketNotifier::Type. */
constexpr std::array<quint32, 3> eventsOf{EPOLLIN, EPOLLOUT, EPOLLPRI};
constexpr int descriptorBits = 32;

/** What comes back with an event: events in the order of these are in the order of the numbers. */
quint64 tagOf(quint32 number, int descriptor)
{
    return quint64(number) << descriptorBits | quint32(descriptor);
}

} // namespace

std::unique_ptr<EpollDispatcher> EpollDispatcher::make()
{
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    const int waker = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = tagOf(0, waker);
    if (epoll < 0 || waker < 0 || epoll_ctl(epoll, EPOLL_CTL_ADD, waker, &event) != 0) {
        ::close(epoll);
        ::close(waker);
        return nullptr;
    }
    return std::unique_ptr<EpollDispatcher>(new EpollDispatcher(epoll, waker));
}

EpollDispatcher::EpollDispatcher(int epoll, int waker) : m_epoll(epoll), m_waker(waker) {}

EpollDispatcher::~EpollDispatcher()
{
    ::close(m_waker);
    ::close(m_epoll);
}

bool EpollDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    m_interrupted = false;
    emit awake();
    QCoreApplication::sendPostedEvents();
    const bool mayWait = flags.testFlag(QEventLoop::WaitForMoreEvents) && !m_interrupted;
    if (mayWait)
        emit aboutToBlock();
    const bool served = flags.testFlag(QEventLoop::ExcludeSocketNotifiers) ? awaitWakeUp(mayWait)
                                                                           : serveSockets(mayWait);
    return fireTimers() || served;
}

bool EpollDispatcher::hasPendingEvents()
{
    return m_woken;
}

void EpollDispatcher::registerSocketNotifier(QSocketNotifier *notifier)
{
    const int descriptor = int(notifier->socket());
    Watch &watch = m_watches[descriptor];
    if (watch.number == 0)
        watch.number = ++m_lastNumber;
    watch.notifiers[notifier->type()] = notifier;
    refresh(descriptor, watch);
}

void EpollDispatcher::unregisterSocketNotifier(QSocketNotifier *notifier)
{
    const int descriptor = int(notifier->socket());
    const auto found = m_watches.find(descriptor);
    if (found == m_watches.end() || found->notifiers[notifier->type()] != notifier)
        return;
    found->notifiers[notifier->type()] = nullptr;
    if (wanted(*found) != 0) {
        refresh(descriptor, *found);
        return;
    }
    // At once, since the descriptor may be closed next.
    epoll_ctl(m_epoll, EPOLL_CTL_DEL, descriptor, nullptr);
    m_watches.erase(found);
}

quint32 EpollDispatcher::wanted(const Watch &watch)
{
    quint32 events = 0;
    for (size_t type = 0; type < eventsOf.size(); ++type) {
        if (watch.notifiers[type] != nullptr)
            events |= eventsOf[type];
    }
    return events;
}

/** A socket asks to write and takes it back with every reply, so the kernel is told only before
 *  the next wait. */
void EpollDispatcher::refresh(int descriptor, Watch &watch)
{
    if (watch.isStale)
        return;
    watch.isStale = true;
    m_stale.append(descriptor);
}

void EpollDispatcher::refreshStale()
{
    for (const int descriptor : qAsConst(m_stale)) {
        const auto watch = m_watches.find(descriptor);
        if (watch == m_watches.end() || !watch->isStale)
            continue;
        watch->isStale = false;
        epoll_event event{};
        event.events = wanted(*watch);
        event.data.u64 = tagOf(watch->number, descriptor);
        if (event.events == watch->told)
            continue;
        epoll_ctl(m_epoll, watch->told == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, descriptor, &event);
        watch->told = event.events;
    }
    m_stale.clear();
}

bool EpollDispatcher::serveSockets(bool mayWait)
{
    refreshStale();
    std::array<epoll_event, eventBatch> events;
    const int count = epoll_wait(m_epoll, events.data(), eventBatch, timeOut(mayWait));
    const auto end = events.begin() + std::max(count, 0);
    std::sort(events.begin(), end, [](const epoll_event &left, const epoll_event &right) {
        return left.data.u64 < right.data.u64;
    });
    std::for_each(events.begin(), end, [&](const epoll_event &event) {
        const auto descriptor = int(quint32(event.data.u64));
        if (descriptor == m_waker)
            takeWakeUp();
        else
            serve(descriptor, event.events);
    });
    return count > 0;
}

bool EpollDispatcher::awaitWakeUp(bool mayWait)
{
    pollfd state{m_waker, POLLIN, 0};
    const bool woken = ::poll(&state, 1, timeOut(mayWait)) > 0;
    if (woken)
        takeWakeUp();
    return woken;
}

void EpollDispatcher::serve(int descriptor, quint32 events)
{
    for (size_t type = 0; type < eventsOf.size(); ++type) {
        if ((events & (eventsOf[type] | troubles)) == 0)
            continue;
        // Looked up each time: a notifier that is served may take itself and others away.
        const auto watch = m_watches.constFind(descriptor);
        if (watch == m_watches.constEnd())
            return;
        if (QSocketNotifier *const notifier = watch->notifiers[type]) {
            QEvent activation(QEvent::SockAct);
            QCoreApplication::sendEvent(notifier, &activation);
        }
    }
}

void EpollDispatcher::wakeUp()
{
    if (m_woken.exchange(true))
        return;
    const eventfd_t once = 1;
    eventfd_write(m_waker, once);
}

void EpollDispatcher::takeWakeUp()
{
    eventfd_t ignored = 0;
    eventfd_read(m_waker, &ignored);
    m_woken = false;
}

void EpollDispatcher::interrupt()
{
    m_interrupted = true;
    wakeUp();
}

void EpollDispatcher::registerTimer(int timerId, int interval, Qt::TimerType timerType,
                                    QObject *object)
{
    const std::chrono::milliseconds span(interval);
    m_timers.push_back({timerId, span, timerType, object, Clock::now() + span});
}

bool EpollDispatcher::unregisterTimer(int timerId)
{
    const auto found = std::find_if(m_timers.begin(), m_timers.end(),
                                    [timerId](const Timer &timer) { return timer.id == timerId; });
    if (found == m_timers.end())
        return false;
    m_timers.erase(found);
    return true;
}

bool EpollDispatcher::unregisterTimers(QObject *object)
{
    const auto rest =
        std::remove_if(m_timers.begin(), m_timers.end(),
                       [object](const Timer &timer) { return timer.object == object; });
    const bool foundAny = rest != m_timers.end();
    m_timers.erase(rest, m_timers.end());
    return foundAny;
}

QList<QAbstractEventDispatcher::TimerInfo> EpollDispatcher::registeredTimers(QObject *object) const
{
    QList<TimerInfo> timers;
    for (const Timer &timer : m_timers) {
        if (timer.object == object)
            timers.append(TimerInfo(timer.id, int(timer.interval.count()), timer.type));
    }
    return timers;
}

namespace {

int millisecondsUntil(std::chrono::steady_clock::time_point due)
{
    using std::chrono::milliseconds;
    const auto rest = due - std::chrono::steady_clock::now();
    const auto rounded = std::chrono::ceil<milliseconds>(rest).count();
    return int(std::clamp<qint64>(rounded, 0, std::numeric_limits<int>::max()));
}

} // namespace

int EpollDispatcher::remainingTime(int timerId)
{
    for (const Timer &timer : m_timers) {
        if (timer.id == timerId)
            return millisecondsUntil(timer.due);
    }
    return -1;
}

/** As epoll_wait takes it: -1 waits for ever. */
int EpollDispatcher::timeOut(bool mayWait) const
{
    if (!mayWait)
        return 0;
    const auto next = std::min_element(
        m_timers.begin(), m_timers.end(),
        [](const Timer &left, const Timer &right) { return left.due < right.due; });
    return next == m_timers.end() ? -1 : millisecondsUntil(next->due);
}

bool EpollDispatcher::fireTimers()
{
    const auto time = Clock::now();
    std::vector<Timer> due;
    std::copy_if(m_timers.begin(), m_timers.end(), std::back_inserter(due),
                 [time](const Timer &timer) { return timer.due <= time; });
    // After a long turn of the loop, several may be due at once.
    std::stable_sort(due.begin(), due.end(),
                     [](const Timer &left, const Timer &right) { return left.due < right.due; });
    for (const Timer &late : due) {
        // One timer may end another.
        const auto timer = std::find_if(m_timers.begin(), m_timers.end(),
                                        [&late](const Timer &one) { return one.id == late.id; });
        if (timer == m_timers.end())
            continue;
        timer->due = std::max(timer->due + timer->interval, time);
        QTimerEvent event(late.id);
        QCoreApplication::sendEvent(timer->object, &event);
    }
    return !due.empty();
}
