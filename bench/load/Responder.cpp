// SPDX-License-Identifier: Apache-2.0
#include "load/Responder.h"

#include <algorithm>
#include <thread>

namespace {

using namespace std::chrono_literals;

/** Start bit, eight data bits, stop bit. */
constexpr long long bitsPerByte = 10;
/** The last part of a wait is a busy loop, since a wake-up would be late. */
constexpr auto awake = 2ms;

void waitUntil(Nanoseconds due)
{
    const auto rest = due - now();
    if (rest > awake)
        std::this_thread::sleep_for(rest - awake);
    while (now() < due) {
    }
}

} // namespace

Responder::Responder(Pty &pty, Peer &peer, Settings settings)
    : m_pty(pty), m_peer(peer), m_settings(settings), m_times(settings.warmUp)
{
}

void Responder::run(const volatile bool &stop)
{
    if (!m_peer.greeting().isEmpty())
        m_pty.write(m_peer.greeting());
    while (!stop && !isDone()) {
        if (const auto bytes = m_pty.read())
            take(*bytes);
    }
}

void Responder::take(const QByteArray &bytes)
{
    const auto time = now();
    if (m_commandBytes == 0)
        m_commandStarted = time;
    m_commandBytes += bytes.size();
    m_hostBytes += bytes.size();
    m_hostEnd = std::max(m_hostEnd, time) + wireTime(bytes.size());
    const auto answers = m_peer.take(bytes);
    for (const PeerAnswer &peerAnswer : answers) {
        if (peerAnswer.acknowledgesBlock)
            takeBlock(time);
        answer(peerAnswer);
    }
    if (!answers.empty())
        m_commandBytes = 0;
}

void Responder::takeBlock(Nanoseconds time)
{
    const bool warm = m_times.warmedUp();
    m_times.blockArrived(m_commandStarted, time);
    if (!warm && m_times.warmedUp() && m_warmedUp)
        m_warmedUp();
}

void Responder::answer(const PeerAnswer &answer)
{
    const auto start = std::max(m_hostEnd + answer.delay, m_deviceEnd);
    m_deviceEnd = start + wireTime(answer.bytes.size());
    const auto time = send(answer.bytes, start);
    m_deviceBytes += answer.bytes.size();
    if (answer.acknowledgesBlock)
        m_times.acknowledged(time, wireTime(m_commandBytes + answer.bytes.size()));
    else
        m_times.otherExchange();
}

/** The time at which the last byte was sent. With a baud rate, each byte is sent when its stop bit
 *  would end, as by a serial port, or all of them with the last. */
Nanoseconds Responder::send(const QByteArray &bytes, Nanoseconds start)
{
    int sent = 0;
    const bool byteByByte = m_settings.baudRate > 0 && !m_settings.wholeReplies;
    while (byteByByte && sent < bytes.size() - 1) {
        waitUntil(start + wireTime(sent + 1));
        m_pty.write(bytes.mid(sent++, 1));
    }
    waitUntil(start + wireTime(bytes.size()));
    const auto time = now();
    m_pty.write(bytes.mid(sent));
    return time;
}

Nanoseconds Responder::wireTime(long long bytes) const
{
    if (m_settings.baudRate == 0)
        return Nanoseconds(0);
    return Nanoseconds(std::chrono::seconds(bytes * bitsPerByte)) / m_settings.baudRate;
}
