// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Wire.h"

#include <algorithm>
#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace {

/** Start bit, eight data bits, stop bit. */
constexpr int bitsPerByte = 10;

} // namespace

Wire::Wire(DevicePort &port, Device device, int baudRate, QObject *parent)
    : QObject(parent),
      m_port(port),
      m_device(std::move(device)),
      m_byteTime(baudRate == 0 ? Time(0) : Time(std::chrono::seconds(bitsPerByte)) / baudRate),
      m_timerFd(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)),
      m_timer(m_timerFd, QSocketNotifier::Read)
{
    connect(&m_port, &DevicePort::received, this, &Wire::onReceived);
    connect(&m_timer, &QSocketNotifier::activated, this, &Wire::sendDue);
}

Wire::~Wire()
{
    m_timer.setEnabled(false);
    ::close(m_timerFd);
}

Wire::Time Wire::now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + Time(time.tv_nsec);
}

void Wire::setPlugged(bool plugged)
{
    m_plugged = plugged;
    if (!plugged)
        m_pending.clear();
}

void Wire::onReceived(const QByteArray &bytes)
{
    if (!m_plugged) {
        m_lostBytes += bytes.size();
        return;
    }
    m_hostEnd = std::max(m_hostEnd, now()) + durationOf(bytes.size());
    const Time commandEnd = m_hostEnd;
    const auto answers = m_device(bytes);
    for (const DeviceAnswer &answer : answers)
        schedule(answer, commandEnd);
    sendDue();
}

void Wire::schedule(const DeviceAnswer &answer, Time commandEnd)
{
    Time start = commandEnd + answer.delay;
    // An answer without a delay is queued after the one that is being sent; a delayed one does not
    // delay the answers that overtake it.
    if (answer.delay.count() == 0)
        start = std::max(start, m_deviceEnd);
    const Time end = start + durationOf(answer.bytes.size());
    if (answer.delay.count() == 0)
        m_deviceEnd = end;
    const auto place =
        std::upper_bound(m_pending.begin(), m_pending.end(), end,
                         [](Time time, const Pending &pending) { return time < pending.due; });
    m_pending.insert(place, {end, answer.bytes});
}

void Wire::sendDue()
{
    quint64 expirations = 0;
    const ssize_t ignored = ::read(m_timerFd, &expirations, sizeof expirations);
    Q_UNUSED(ignored)
    while (!m_pending.isEmpty() && m_pending.first().due <= now())
        m_port.write(m_pending.takeFirst().bytes);
    armTimer();
}

void Wire::armTimer()
{
    itimerspec when{};
    if (!m_pending.isEmpty()) {
        const Time due = std::max(m_pending.first().due, Time(1));
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(due);
        when.it_value.tv_sec = seconds.count();
        when.it_value.tv_nsec = (due - seconds).count();
    }
    timerfd_settime(m_timerFd, TFD_TIMER_ABSTIME, &when, nullptr);
}
