// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Sessions.h"

#include <algorithm>

namespace web {

namespace {

using namespace std::chrono_literals;

constexpr milliseconds longestIdle = 1h;
constexpr milliseconds longestSession = 12h;
constexpr int mostSessions = 32;

constexpr int mostFailures = 5;
constexpr milliseconds failuresCountFor = 15min;
constexpr int mostAddresses = 1024;

bool hasEnded(const Session &session, milliseconds now)
{
    return now - session.lastUsed > longestIdle || now - session.begun > longestSession;
}

} // namespace

Session Sessions::begin(milliseconds now)
{
    removeOld(now);
    if (m_sessions.size() == mostSessions) {
        const auto oldest = std::min_element(
            m_sessions.begin(), m_sessions.end(),
            [](const Session &a, const Session &b) { return a.lastUsed < b.lastUsed; });
        m_sessions.erase(oldest);
    }
    m_sessions.append({m_secret(), m_secret(), now, now});
    return m_sessions.last();
}

std::optional<Session> Sessions::use(const QByteArray &id, milliseconds now)
{
    removeOld(now);
    for (Session &session : m_sessions) {
        if (!isSameSecret(session.id, id))
            continue;
        session.lastUsed = now;
        return session;
    }
    return std::nullopt;
}

void Sessions::end(const QByteArray &id)
{
    m_sessions.erase(
        std::remove_if(m_sessions.begin(), m_sessions.end(),
                       [&id](const Session &session) { return isSameSecret(session.id, id); }),
        m_sessions.end());
}

void Sessions::removeOld(milliseconds now)
{
    m_sessions.erase(
        std::remove_if(m_sessions.begin(), m_sessions.end(),
                       [now](const Session &session) { return hasEnded(session, now); }),
        m_sessions.end());
}

milliseconds LoginLimit::lockedFor(const QString &address, milliseconds now) const
{
    const QVector<milliseconds> times = m_failures.value(address);
    if (times.size() < mostFailures)
        return 0ms;
    return std::max<milliseconds>(0ms, times.first() + failuresCountFor - now);
}

void LoginLimit::addFailure(const QString &address, milliseconds now)
{
    forgetSome(now);
    QVector<milliseconds> &times = m_failures[address];
    times.append(now);
    if (times.size() > mostFailures)
        times.removeFirst();
}

/** Addresses without a recent failure are forgotten, and with too many the one that is oldest. */
void LoginLimit::forgetSome(milliseconds now)
{
    if (m_failures.size() < mostAddresses)
        return;
    QString oldest = m_failures.begin().key();
    for (auto it = m_failures.begin(); it != m_failures.end();) {
        if (now - it.value().last() > failuresCountFor) {
            it = m_failures.erase(it);
            continue;
        }
        if (it.value().last() < m_failures.value(oldest).last())
            oldest = it.key();
        ++it;
    }
    if (m_failures.size() >= mostAddresses)
        m_failures.remove(oldest);
}

bool isSameSecret(const QByteArray &one, const QByteArray &other)
{
    if (one.size() != other.size())
        return false;
    int difference = 0;
    for (int i = 0; i < one.size(); ++i)
        difference |= one.at(i) ^ other.at(i);
    return difference == 0;
}

} // namespace web
