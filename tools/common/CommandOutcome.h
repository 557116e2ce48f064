// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/** What users should know although a command succeeded, or one of the errors for which it failed.
 */
struct Warning
{
    /** For scripts; docs/reference/problems.md lists them. */
    QString id;
    /** One sentence, without a full stop. */
    QString text;
    /** What exactly: a file and a place in it. May be empty. */
    QString detail = {};
};

/** What a command came to. Commands fill it in and print nothing themselves. */
struct CommandOutcome
{
    ExitCode exit = ExitCode::Done;
    /** For people, on standard output. */
    QString text;
    /** The command's own members of the JSON document. */
    QJsonObject json;
    QVector<Warning> warnings;
    /** Each thing that is wrong, where a problem consists of several; they have the same form. */
    QVector<Warning> errors;
    /** Empty unless it failed. */
    std::optional<Problem> problem;

    static CommandOutcome failed(const Problem &problem);
    static CommandOutcome failed(ProblemId id, const QString &detail);
    /** Keeps what is there already, for commands that show a damaged package. */
    void fail(ProblemId id, const QString &detail);
};

/** How a program writes to standard output. */
enum class OutputForm {
    Text,
    /** One document, indented. */
    Json,
    /** One object a line: events, and the document as the last one. */
    JsonLines,
};

/** The members id, text, advice and detail; null when there is no problem. */
QJsonValue problemJson(const std::optional<Problem> &problem);

/**
 * The document of a command: "command" (null when it is empty), "exit", "result", "error" (null
 * when there is no problem), "warnings", "errors" (left out when there are none) and the command's
 * own members.
 */
QJsonObject resultDocument(const QString &command, const CommandOutcome &outcome);

/** A document as it is written. A line gets the members "event", which is "result", and "time". */
QByteArray documentBytes(const QJsonObject &document, OutputForm form);

/** An event as a line of JSON, with "time" (UTC, ISO 8601) added. */
QByteArray eventLine(QJsonObject event);

/** The lines for standard error: warnings, the problem and what helps. */
QStringList diagnosis(const QString &program, const CommandOutcome &outcome);

/**
 * Writes an outcome: in the text form to standard output and standard error, in the others all of
 * it to standard output. Returns the exit status, which is another one when standard output takes
 * no more.
 */
int writeOutcome(const QString &program, const QString &command, OutputForm form,
                 const CommandOutcome &outcome);
