// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-web/HttpMessage.h"
#include "upgrade-web/Routes.h"
#include "upgrade-web/Sessions.h"

#include <QStringList>

namespace web {

/** What decides which requests are answered. */
struct GateSettings
{
    /** Names and addresses by which the server is reached, without a port; addresses of IPv6 in
     *  brackets. */
    QStringList hosts;
    quint16 port = 0;
    bool hasPassword = false;
    /** The server itself speaks TLS. */
    bool hasTls = false;
    /** A proxy sets X-Forwarded-For, and speaks TLS to the browsers, at another port. */
    bool hasProxy = false;
    bool hasOpenMetrics = false;
};

/**
 * Decides which requests are answered: only those that name this server (against DNS rebinding),
 * changes only from its own page (against requests of other sites), and with a password only those
 * of a session. Knows no clock.
 */
class Gate
{
public:
    Gate(const GateSettings &settings, const Sessions::Secret &secret);

    /** None, RequestRefused or LoginNeeded. */
    ProblemId check(const Request &request, const Route &route, milliseconds now);
    /** Whether the viewer may use the server, and the token for changes. */
    struct Access
    {
        bool isGranted = false;
        QByteArray csrfToken;
    };
    Access accessOf(const Request &request, milliseconds now);

    /** Begins a session and returns its cookie, as the value of the header Set-Cookie. */
    QByteArray logIn(milliseconds now, Access &access);
    /** Ends the session and returns the header that deletes the cookie. */
    QByteArray logOut(const Request &request);
    LoginLimit &limit() { return m_limit; }
    /** The viewer's address; with a proxy the one that the proxy reports. */
    QString addressOf(const Request &request) const;
    /** The port that the server listens on, once it is known. */
    void setPort(quint16 port) { m_settings.port = port; }

private:
    bool isHostKnown(const QByteArray &host) const;
    bool isOriginOwn(const Request &request) const;
    QByteArray cookie(const QByteArray &value) const;

    GateSettings m_settings;
    /** Without a password, for all viewers. */
    const QByteArray m_commonToken;
    Sessions m_sessions;
    LoginLimit m_limit;
};

} // namespace web
