// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/Failures.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

/** Why a command failed. */
struct Problem
{
    Failure failure;
    /** What exactly: a file, a reason, a place. */
    QString detail;
};

/** What a command has to say; it prints nothing itself. */
struct Outcome
{
    ExitCode code = ExitCode::Done;
    /** For people, on standard output. */
    QString text;
    /** For scripts, in its place. */
    QJsonObject json;
    /** What people should know although the command succeeded. */
    QStringList warnings;
    std::optional<Problem> problem;

    static Outcome failed(Failure failure, const QString &detail);
    /** Keeps what is there already, as commands do that show a damaged package. */
    void fail(Failure failure, const QString &detail);
};

/** One JSON document with the result, the warnings and the error. */
QByteArray asJson(const Outcome &outcome, const QString &command);

/** The lines for standard error. */
QStringList diagnostics(const Outcome &outcome);

/** Prints the outcome and returns the process's exit status. */
int report(const Outcome &outcome, const QString &command, bool json);
