// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"

#include <QByteArray>

namespace web {

/** What a request is for. */
enum class Resource {
    Session,
    Login,
    Logout,
    Status,
    Package,
    Upload,
    Plan,
    StartRun,
    Run,
    Events,
    History,
    Report,
    Edid,
    Metrics,
    /** A file of the page. */
    Page,
};

struct Route
{
    Resource resource;
    const char *method;
    const char *path;
    /** The command of the response's document. */
    const char *name;
    bool needsLogin = true;
    /** The largest body, in bytes. */
    qint64 bodyLimit = 0;
};

/** Of JSON objects and EDID dumps, in bytes. */
constexpr qint64 smallBody = qint64{16} * 1024;

struct RouteResult
{
    const Route *route = nullptr;
    ProblemId problem = ProblemId::None;
};

/** The route of a request, or NotFound or MethodRefused. HEAD is handled as GET. */
RouteResult routeOf(const QByteArray &method, const QByteArray &path);

} // namespace web
