// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "planning/UpgradeMode.h"

#include <QString>

#include <optional>
#include <string>

/** What the command line says. Which of the texts are filled in depends on the command. */
struct Options
{
    QString command;
    /** The package, request, folder or archive. */
    QString file;
    /** The second file of add-net and diff. */
    QString other;
    QString output;
    QString release;
    QString netVersion;
    /** One of these two for plan: a file of rows, or one of a device. */
    QString rows;
    QString device;
    /** The rows of plan are those that the agent makes for UPGRADEALL. */
    bool requestAll = false;
    /** The upgrade mode of plan. */
    int mode = planning::upgradeMode::newerOnly;
    bool json = false;
    bool progress = true;
};

/** The options, or how the process has to end because there are none (help, a wrong option). */
struct CommandLine
{
    std::optional<Options> options;
    int exitStatus = 0;
};

/** Prints help, version and errors itself. */
CommandLine readCommandLine(int argc, char *argv[]);
