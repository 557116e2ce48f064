// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/ResultPrinter.h"

#include "upgrade-console/Terminal.h"

using client::causeJson;
using client::causeRow;
using client::CauseRow;

namespace {

bool isError(const CommandResult &result)
{
    return result.exit != ExitCode::Done && result.exit != ExitCode::NothingToDo;
}

} // namespace

QJsonObject resultDocument(const QString &command, const CommandResult &result)
{
    QJsonObject document = result.json;
    if (!command.isEmpty())
        document["command"] = command;
    document["result"] = exitCodeName(result.exit);
    document["exit"] = int(result.exit);
    if (isError(result)) {
        QJsonObject error = causeJson(result.cause);
        if (!result.detail.isEmpty())
            error["detail"] = result.detail;
        document["error"] = error;
    }
    return document;
}

QStringList diagnosis(const CommandResult &result)
{
    QStringList lines;
    if (isError(result)) {
        const CauseRow &row = causeRow(result.cause);
        QString first = QStringLiteral("upgrade-console: ") + QString::fromLatin1(row.words);
        if (!result.detail.isEmpty())
            first += " (" + printable(result.detail) + ')';
        lines += first;
        // What is known of this very case helps more than what helps in general.
        if (result.advice.isEmpty())
            lines += "  " + QString::fromLatin1(row.advice);
    }
    for (const QString &line : result.advice)
        lines += "  " + line;
    return lines;
}
