// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QPair>
#include <QString>
#include <QVector>

namespace web {

using Fields = QVector<QPair<QByteArray, QByteArray>>;

/** The value of the field of that name, which is compared without case. Empty when there is none,
 *  or when there are several: which one counts would depend on the reader. */
QByteArray fieldOf(const Fields &fields, const QByteArray &name);

/** All values of the field. */
QVector<QByteArray> fieldsOf(const Fields &fields, const QByteArray &name);

/** A request as HTTP (RFC 9110) has it, with an empty body until that has been received. */
struct Request
{
    QByteArray method;
    /** Without the query, percent-decoded. */
    QByteArray path;
    /** Percent-decoded. */
    Fields query;
    Fields headers;
    Fields cookies;
    /** The address of the peer. */
    QString peer;
    QByteArray body;

    QByteArray header(const QByteArray &name) const { return fieldOf(headers, name); }
};

struct Response
{
    int status = 200;
    QByteArray type;
    Fields headers;
    QByteArray body;
};

} // namespace web
