// SPDX-License-Identifier: Apache-2.0
#include "support/Fuzz.h"
#include "upgrade-web/EventLog.h"
#include "upgrade-web/Gate.h"

#include <QList>

namespace web {

namespace {

const QByteArray secret = "secret";

/** A request from lines: method, path, then "Name: value"; cookies are "Cookie: name=value". */
Request requestFrom(const QList<QByteArray> &lines)
{
    Request request;
    request.peer = QStringLiteral("192.0.2.1");
    request.method = lines.value(0);
    request.path = lines.value(1);
    for (const QByteArray &line : lines.mid(2)) {
        const int colon = line.indexOf(": ");
        const QByteArray name = line.left(colon);
        const QByteArray value = colon < 0 ? QByteArray() : line.mid(colon + 2);
        if (name == "Cookie")
            request.cookies.append(
                qMakePair(value.left(value.indexOf('=')), value.mid(value.indexOf('=') + 1)));
        else
            request.headers.append(qMakePair(name, value));
    }
    return request;
}

GateSettings settingsWith(bool hasPassword, bool hasProxy)
{
    GateSettings settings;
    settings.hosts = QStringList{QStringLiteral("localhost")};
    settings.port = 8353;
    settings.hasPassword = hasPassword;
    settings.hasProxy = hasProxy;
    return settings;
}

/** A request that is answered names the server, and changes need the token as well. */
void requireGuarded(Gate &gate, const Request &request, const Route &route, bool hasPassword)
{
    if (gate.check(request, route, {}) != ProblemId::None)
        return;
    require(request.header("Host").toLower().startsWith("localhost"));
    if (!route.needsLogin)
        return;
    require(!hasPassword);
    if (QByteArray(route.method) == "POST")
        require(request.header("X-CSRF-Token") == secret);
}

} // namespace

/** Any request: only those of the own page pass, and no header or id upsets the server. */
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const Request request = requestFrom(bytes.split('\n'));
    const RouteResult found = routeOf(request.method, request.path);
    require((found.route != nullptr) == (found.problem == ProblemId::None));
    for (const bool hasPassword : {false, true}) {
        for (const bool hasProxy : {false, true}) {
            Gate gate(settingsWith(hasPassword, hasProxy), [] { return secret; });
            require(gate.addressOf(request).size() <= 64);
            if (found.route)
                requireGuarded(gate, request, *found.route, hasPassword);
        }
    }
    EventLog log("ab", 2);
    for (int i = 0; i < 4; ++i)
        log.append({{"event", "message"}, {"text", QString::fromUtf8(bytes)}});
    require(log.frame(4).count('\n') == 4);
    const auto number = log.numberOf(request.header("Last-Event-ID"));
    require(!number || (*number >= 0 && *number <= 4));
    return 0;
}

} // namespace web
