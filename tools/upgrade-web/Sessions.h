// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

#include <chrono>
#include <functional>
#include <optional>

namespace web {

using std::chrono::milliseconds;

/** A session of a viewer who has logged in. */
struct Session
{
    QByteArray id;
    QByteArray csrfToken;
    milliseconds begun{0};
    milliseconds lastUsed{0};
};

/** The sessions. Knows no clock: every call comes with the time. */
class Sessions
{
public:
    /** Returns a word that cannot be guessed. */
    using Secret = std::function<QByteArray()>;

    explicit Sessions(Secret secret) : m_secret(std::move(secret)) {}

    /** The oldest session ends when there are too many. */
    Session begin(milliseconds now);
    /** The session of that id, which counts as used; none when it has ended. */
    std::optional<Session> use(const QByteArray &id, milliseconds now);
    void end(const QByteArray &id);

private:
    void removeOld(milliseconds now);

    Secret m_secret;
    QVector<Session> m_sessions;
};

/** Wrong passwords by address. Knows no clock, and has a bounded number of addresses. */
class LoginLimit
{
public:
    /** Until the address may try again; 0 when it may try now. */
    milliseconds lockedFor(const QString &address, milliseconds now) const;
    void addFailure(const QString &address, milliseconds now);
    void clear(const QString &address) { m_failures.remove(address); }

private:
    void forgetSome(milliseconds now);

    /** The times of the last failures of each address. */
    QHash<QString, QVector<milliseconds>> m_failures;
};

/** Compares two secrets in a time that depends on their lengths only. */
bool isSameSecret(const QByteArray &one, const QByteArray &other);

} // namespace web
