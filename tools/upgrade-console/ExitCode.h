// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/** How the program ends; scripts rely on the numbers. */
enum class ExitCode {
    Done = 0,
    Failed = 1,
    Usage = 2,
    NothingToDo = 3,
    Busy = 4,
    CannotConnect = 5,
    ConnectionLost = 6,
    PackageRefused = 7,
};

constexpr int exitCodeCount = 8;

/** The word that JSON has for it. */
QString exitCodeName(ExitCode code);

/** What it means, one line for the help. */
QString exitCodeMeaning(ExitCode code);
