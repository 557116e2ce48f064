// SPDX-License-Identifier: Apache-2.0
#include "common/CommandOutcome.h"

#include "common/Output.h"
#include "common/Printable.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <unistd.h>

namespace {

QString adviceOf(const Problem &problem)
{
    return problem.advice.isEmpty() ? QString::fromLatin1(problemRow(problem.id).advice)
                                    : problem.advice;
}

QJsonArray warningsJson(const QVector<Warning> &warnings)
{
    QJsonArray list;
    for (const Warning &warning : warnings)
        list.append(QJsonObject{{QStringLiteral("id"), warning.id},
                                {QStringLiteral("text"), warning.text},
                                {QStringLiteral("detail"), warning.detail}});
    return list;
}

/** "fwm: error: TEXT: DETAIL". */
QString line(const QString &program, const char *kind, const QString &text, const QString &detail)
{
    QString all = program + QLatin1String(": ") + QLatin1String(kind) + QLatin1String(": ") + text;
    if (!detail.isEmpty())
        all += QLatin1String(": ") + detail;
    return printable(all);
}

void writeErrors(const QString &program, const CommandOutcome &outcome)
{
    const QStringList lines = diagnosis(program, outcome);
    for (const QString &one : lines)
        writeAll(STDERR_FILENO, one.toUtf8() + '\n');
}

} // namespace

CommandOutcome CommandOutcome::failed(const Problem &problem)
{
    CommandOutcome outcome;
    outcome.exit = problemRow(problem.id).exit;
    outcome.problem = problem;
    return outcome;
}

CommandOutcome CommandOutcome::failed(ProblemId id, const QString &detail)
{
    return failed(Problem{id, detail});
}

void CommandOutcome::fail(ProblemId id, const QString &detail)
{
    exit = problemRow(id).exit;
    problem = Problem{id, detail};
}

QJsonValue problemJson(const std::optional<Problem> &problem)
{
    if (!problem)
        return QJsonValue::Null;
    const ProblemRow &row = problemRow(problem->id);
    return QJsonObject{{QStringLiteral("id"), QString::fromLatin1(row.id)},
                       {QStringLiteral("text"), QString::fromLatin1(row.text)},
                       {QStringLiteral("advice"), adviceOf(*problem)},
                       {QStringLiteral("detail"), problem->detail}};
}

QJsonObject resultDocument(const QString &command, const CommandOutcome &outcome)
{
    QJsonObject document = outcome.json;
    document.insert(QStringLiteral("command"),
                    command.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(command));
    document.insert(QStringLiteral("exit"), int(outcome.exit));
    document.insert(QStringLiteral("result"), exitCodeName(outcome.exit));
    document.insert(QStringLiteral("error"), problemJson(outcome.problem));
    document.insert(QStringLiteral("warnings"), warningsJson(outcome.warnings));
    if (!outcome.errors.isEmpty())
        document.insert(QStringLiteral("errors"), warningsJson(outcome.errors));
    return document;
}

QByteArray documentBytes(const QJsonObject &document, OutputForm form)
{
    if (form != OutputForm::JsonLines)
        return QJsonDocument(document).toJson();
    QJsonObject last = document;
    last.insert(QStringLiteral("event"), QStringLiteral("result"));
    return eventLine(last);
}

QByteArray eventLine(QJsonObject event)
{
    event.insert(QStringLiteral("time"),
                 QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    return QJsonDocument(event).toJson(QJsonDocument::Compact) + '\n';
}

QStringList diagnosis(const QString &program, const CommandOutcome &outcome)
{
    QStringList lines;
    const auto add = [&](const char *kind, const QVector<Warning> &list) {
        for (const Warning &one : list)
            lines +=
                line(program, kind, one.text, one.detail) + QStringLiteral(" [%1]").arg(one.id);
    };
    add("warning", outcome.warnings);
    add("error", outcome.errors);
    if (!outcome.problem)
        return lines;
    const Problem &problem = *outcome.problem;
    lines +=
        line(program, "error", QString::fromLatin1(problemRow(problem.id).text), problem.detail);
    const QStringList advice = adviceOf(problem).split(QLatin1Char('\n'));
    for (const QString &one : advice)
        lines += QLatin1String("  ") + printable(one);
    return lines;
}

int writeOutcome(const QString &program, const QString &command, OutputForm form,
                 const CommandOutcome &outcome)
{
    const bool isText = form == OutputForm::Text;
    const QByteArray output =
        isText ? outcome.text.toUtf8() : documentBytes(resultDocument(command, outcome), form);
    const bool isWritten = writeAll(STDOUT_FILENO, output);
    if (isText)
        writeErrors(program, outcome);
    if (isWritten)
        return int(outcome.exit);
    CommandOutcome unwritable = CommandOutcome::failed(ProblemId::OutputUnwritable, {});
    writeErrors(program, unwritable);
    return int(unwritable.exit);
}
