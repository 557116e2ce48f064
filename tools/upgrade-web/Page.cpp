// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Page.h"

#include "upgrade-web/Service.h"

#include <QFile>

namespace web {

namespace {

/** By the ending of the name; no other files are part of the page. */
QByteArray typeOf(const QByteArray &path)
{
    static const QMap<QByteArray, QByteArray> types{
        {"html", "text/html; charset=utf-8"},
        {"css", "text/css; charset=utf-8"},
        {"js", "text/javascript; charset=utf-8"},
        {"svg", "image/svg+xml"},
    };
    return types.value(path.mid(path.lastIndexOf('.') + 1));
}

} // namespace

Response pageFile(const QByteArray &path)
{
    const QByteArray name = path == "/" ? QByteArrayLiteral("/index.html") : path;
    QFile file(QStringLiteral(":/page") + QString::fromUtf8(name));
    const QByteArray type = typeOf(name);
    // The resources of Qt are a separate file system, without the files of the machine.
    if (type.isEmpty() || name.contains("..") || !file.open(QIODevice::ReadOnly))
        return refusal({}, ProblemId::NotFound);
    return {200, type, {}, file.readAll()};
}

} // namespace web
