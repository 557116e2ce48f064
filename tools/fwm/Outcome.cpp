// SPDX-License-Identifier: Apache-2.0
#include "fwm/Outcome.h"

#include "common/Output.h"
#include "fwm/Words.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <unistd.h>

namespace {

QString message(const Problem &problem)
{
    const QString cause = QString::fromLatin1(wordsFor(problem.failure).cause);
    return problem.detail.isEmpty() ? cause : problem.detail + QStringLiteral(": ") + cause;
}

} // namespace

Outcome Outcome::failed(Failure failure, const QString &detail)
{
    Outcome outcome;
    outcome.fail(failure, detail);
    return outcome;
}

void Outcome::fail(Failure failure, const QString &detail)
{
    code = wordsFor(failure).code;
    problem = Problem{failure, detail};
}

QByteArray asJson(const Outcome &outcome, const QString &command)
{
    QJsonObject all = outcome.json;
    all.insert(QStringLiteral("command"), command);
    all.insert(QStringLiteral("exit_code"), int(outcome.code));
    all.insert(QStringLiteral("exit_name"), exitCodeName(outcome.code));
    if (!outcome.warnings.isEmpty())
        all.insert(QStringLiteral("warnings"), QJsonArray::fromStringList(outcome.warnings));
    if (outcome.problem) {
        const FailureWords &words = wordsFor(outcome.problem->failure);
        all.insert(QStringLiteral("error"),
                   QJsonObject{{QStringLiteral("name"), QString::fromLatin1(words.name)},
                               {QStringLiteral("detail"), outcome.problem->detail},
                               {QStringLiteral("cause"), QString::fromLatin1(words.cause)},
                               {QStringLiteral("advice"), QString::fromLatin1(words.advice)}});
    }
    return QJsonDocument(all).toJson();
}

QStringList diagnostics(const Outcome &outcome)
{
    QStringList lines;
    for (const QString &warning : outcome.warnings)
        lines.append(QStringLiteral("fwm: warning: ") + printable(warning));
    if (outcome.problem) {
        lines.append(QStringLiteral("fwm: error: ") + printable(message(*outcome.problem)));
        lines.append(QStringLiteral("fwm: ") +
                     QString::fromLatin1(wordsFor(outcome.problem->failure).advice));
    }
    return lines;
}

int report(const Outcome &outcome, const QString &command, bool json)
{
    const QByteArray result = json ? asJson(outcome, command) : outcome.text.toLocal8Bit();
    const bool isWritten = writeOutput("fwm", result);
    if (!json) {
        const QStringList lines = diagnostics(outcome);
        for (const QString &line : lines)
            writeAll(STDERR_FILENO, line.toLocal8Bit() + '\n');
    }
    return int(isWritten ? outcome.code : ExitCode::Failed);
}
