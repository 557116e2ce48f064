// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/HttpMessage.h"

namespace web {

QVector<QByteArray> fieldsOf(const Fields &fields, const QByteArray &name)
{
    QVector<QByteArray> values;
    for (const auto &field : fields) {
        if (field.first.compare(name, Qt::CaseInsensitive) == 0)
            values += field.second;
    }
    return values;
}

QByteArray fieldOf(const Fields &fields, const QByteArray &name)
{
    const QVector<QByteArray> values = fieldsOf(fields, name);
    return values.size() == 1 ? values.first() : QByteArray();
}

} // namespace web
