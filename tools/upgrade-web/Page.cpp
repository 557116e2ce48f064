// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Page.h"

#include <QCryptographicHash>
#include <QFile>

namespace web {

namespace {

/** In bytes; an entity tag has to differ between two builds only. */
constexpr int tagLength = 8;

QByteArray typeOf(const QString &name)
{
    if (name.endsWith(QLatin1String(".html")))
        return "text/html; charset=utf-8";
    if (name.endsWith(QLatin1String(".css")))
        return "text/css; charset=utf-8";
    if (name.endsWith(QLatin1String(".js")))
        return "text/javascript; charset=utf-8";
    return "image/svg+xml";
}

} // namespace

Response pageResponse(const Request &request)
{
    const QString name =
        request.path == "/" ? QStringLiteral("/index.html") : QString::fromLatin1(request.path);
    QFile file(QStringLiteral(":/page") + name);
    // It is part of the program.
    file.open(QIODevice::ReadOnly);
    const QByteArray body = file.readAll();
    const QByteArray sum = QCryptographicHash::hash(body, QCryptographicHash::Sha256);
    const QByteArray tag = '"' + sum.left(tagLength).toHex() + '"';
    // A newer server has another page at the same address, so browsers ask each time.
    const Fields headers{{"ETag", tag}, {"Cache-Control", "no-cache"}};
    if (request.header("If-None-Match") == tag)
        return {304, typeOf(name), headers, {}};
    return {200, typeOf(name), headers, body};
}

} // namespace web
