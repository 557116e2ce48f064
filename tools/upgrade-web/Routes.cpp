// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Routes.h"

namespace web {

namespace {

// clang-format off
constexpr Route routes[] = {
    {Resource::Session,  "GET",  "/api/session", "session", false},
    {Resource::Login,    "POST", "/api/login",   "login",   false, smallBody},
    {Resource::Logout,   "POST", "/api/logout",  "logout",  true,  smallBody},
    {Resource::Status,   "GET",  "/api/status",  "status"},
    {Resource::Package,  "GET",  "/api/package", "package"},
    // The limit of packages is an option of the server.
    {Resource::Upload,   "POST", "/api/package", "package"},
    {Resource::Plan,     "GET",  "/api/plan",    "plan"},
    {Resource::Run,      "GET",  "/api/run",     "run"},
    {Resource::StartRun, "POST", "/api/run",     "run",     true,  smallBody},
    {Resource::Events,   "GET",  "/api/events",  "events"},
    {Resource::History,  "GET",  "/api/history", "history"},
    {Resource::Report,   "GET",  "/api/report",  "report"},
    {Resource::Edid,     "POST", "/api/edid",    "edid",    true,  smallBody},
    {Resource::Metrics,  "GET",  "/metrics",     "metrics"},
    {Resource::Page,     "GET",  "/",            "page",    false},
    {Resource::Page,     "GET",  "/page.css",    "page",    false},
    {Resource::Page,     "GET",  "/icon.svg",    "page",    false},
    {Resource::Page,     "GET",  "/api.js",      "page",    false},
    {Resource::Page,     "GET",  "/dom.js",      "page",    false},
    {Resource::Page,     "GET",  "/edid.js",     "page",    false},
    {Resource::Page,     "GET",  "/live.js",     "page",    false},
    {Resource::Page,     "GET",  "/main.js",     "page",    false},
    {Resource::Page,     "GET",  "/module.js",   "page",    false},
    {Resource::Page,     "GET",  "/plan.js",     "page",    false},
    {Resource::Page,     "GET",  "/run.js",      "page",    false},
    {Resource::Page,     "GET",  "/upload.js",   "page",    false},
    {Resource::Page,     "GET",  "/words.js",    "page",    false},
};
// clang-format on

} // namespace

RouteResult routeOf(const QByteArray &method, const QByteArray &path)
{
    const QByteArray asked = method == "HEAD" ? QByteArrayLiteral("GET") : method;
    bool isPathKnown = false;
    for (const Route &route : routes) {
        if (path != route.path)
            continue;
        isPathKnown = true;
        if (asked == route.method)
            return {&route};
    }
    return {nullptr, isPathKnown ? ProblemId::MethodRefused : ProblemId::NotFound};
}

} // namespace web
