// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Gate.h"

#include <QUrl>

namespace web {

namespace {

const QByteArray sessionCookie = QByteArrayLiteral("upgrade_web_session");

struct Authority
{
    QString host;
    /** -1 when there is none. */
    int port = -1;
};

/** The header Host: a name or an address, and a port. */
std::optional<Authority> authorityOf(const QByteArray &host)
{
    const QUrl url(QStringLiteral("http://") + QString::fromLatin1(host), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || url.authority().contains('@') ||
        !url.path().isEmpty() || url.hasQuery() || url.hasFragment())
        return std::nullopt;
    return Authority{url.host(), url.port()};
}

} // namespace

Gate::Gate(const GateSettings &settings, const Sessions::Secret &secret)
    : m_settings(settings), m_commonToken(secret()), m_sessions(secret)
{
}

bool Gate::isHostKnown(const QByteArray &host) const
{
    const auto authority = authorityOf(host);
    if (!authority)
        return false;
    // A browser leaves out the port that is the usual one of the scheme.
    const int usual = m_settings.hasTls ? 443 : 80;
    const int port = authority->port < 0 ? usual : authority->port;
    const bool isPortRight = m_settings.hasProxy || port == m_settings.port;
    return isPortRight && m_settings.hosts.contains(authority->host, Qt::CaseInsensitive);
}

/** A browser sends Origin with every POST of a page. */
bool Gate::isOriginOwn(const Request &request) const
{
    const bool isSecure = m_settings.hasTls || m_settings.hasProxy;
    const QByteArray scheme =
        isSecure ? QByteArrayLiteral("https://") : QByteArrayLiteral("http://");
    return request.header("Origin").toLower() == scheme + request.header("Host").toLower();
}

ProblemId Gate::check(const Request &request, const Route &route, milliseconds now)
{
    if (!isHostKnown(request.header("Host")))
        return ProblemId::RequestRefused;
    const bool isChange = qstrcmp(route.method, "POST") == 0;
    if (isChange && !isOriginOwn(request))
        return ProblemId::RequestRefused;
    const bool isOpen =
        !route.needsLogin || (route.resource == Resource::Metrics && m_settings.hasOpenMetrics);
    if (isOpen)
        return ProblemId::None;
    const Access access = accessOf(request, now);
    if (!access.isGranted)
        return ProblemId::LoginNeeded;
    if (isChange && !isSameSecret(request.header("X-CSRF-Token"), access.csrfToken))
        return ProblemId::RequestRefused;
    return ProblemId::None;
}

Gate::Access Gate::accessOf(const Request &request, milliseconds now)
{
    if (!m_settings.hasPassword)
        return {true, m_commonToken};
    const auto session = m_sessions.use(fieldOf(request.cookies, sessionCookie), now);
    return session ? Access{true, session->csrfToken} : Access{};
}

QByteArray Gate::logIn(milliseconds now, Access &access)
{
    const Session session = m_sessions.begin(now);
    access = {true, session.csrfToken};
    return cookie(session.id);
}

QByteArray Gate::logOut(const Request &request)
{
    m_sessions.end(fieldOf(request.cookies, sessionCookie));
    return cookie({}) + "; Max-Age=0";
}

QByteArray Gate::cookie(const QByteArray &value) const
{
    QByteArray text = sessionCookie + '=' + value + "; Path=/; HttpOnly; SameSite=Strict";
    if (m_settings.hasTls || m_settings.hasProxy)
        text += "; Secure";
    return text;
}

/** Only the last entry is the proxy's own; a client may send those before it. */
QString Gate::addressOf(const Request &request) const
{
    if (!m_settings.hasProxy)
        return request.peer;
    const QVector<QByteArray> headers = fieldsOf(request.headers, "X-Forwarded-For");
    const QByteArray last =
        headers.isEmpty() ? QByteArray() : headers.last().split(',').last().trimmed();
    return last.isEmpty() ? request.peer : QString::fromLatin1(last.left(64));
}

} // namespace web
