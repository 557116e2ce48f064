// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QVector>

/**
 * The exit statuses of all tools. Scripts depend on these numbers, so their meanings never change.
 */
enum class ExitCode {
    Done = 0,
    Failed = 1,
    Usage = 2,
    NothingToDo = 3,
    DeviceBusy = 4,
    CannotConnect = 5,
    ConnectionLost = 6,
    PackageRefused = 7,
    NoRun = 8,
    NotTrusted = 9,
    NotPassed = 10,
};

struct ExitCodeWords
{
    ExitCode code;
    /** For scripts, as the JSON output has it: "nothing-to-do". */
    const char *name;
    /** For people. */
    const char *meaning;
};

/** All of them, in the order of their numbers. */
const QVector<ExitCodeWords> &exitCodes();

QString exitCodeName(ExitCode code);
