// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/PageAdvice.h"

#include <QHash>
#include <QJsonArray>

namespace web {

namespace {

QString adviceOf(const ProblemRow &row)
{
    return QString::fromLatin1(*row.pageAdvice == '\0' ? row.advice : row.pageAdvice);
}

const ProblemRow *rowOf(const QString &id)
{
    static const QHash<QString, const ProblemRow *> rows = [] {
        QHash<QString, const ProblemRow *> byId;
        for (const ProblemRow &row : problemTable())
            byId.insert(QString::fromLatin1(row.id), &row);
        return byId;
    }();
    return rows.value(id);
}

QJsonValue changed(const QJsonValue &value)
{
    if (value.isObject())
        return withPageAdvice(value.toObject());
    if (!value.isArray())
        return value;
    QJsonArray array = value.toArray();
    for (auto it = array.begin(); it != array.end(); ++it)
        *it = changed(*it);
    return array;
}

} // namespace

QString pageAdvice(ProblemId problem)
{
    return adviceOf(problemRow(problem));
}

QJsonObject withPageAdvice(const QJsonObject &document)
{
    QJsonObject result = document;
    const QString advice = QStringLiteral("advice");
    for (auto it = result.begin(); it != result.end(); ++it)
        *it = changed(*it);
    const ProblemRow *row = rowOf(document[QLatin1String("id")].toString());
    // The advice of a case is not that of the table.
    if (row != nullptr && document[advice] == QString::fromLatin1(row->advice))
        result[advice] = adviceOf(*row);
    return result;
}

} // namespace web
