// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Command.h"

enum class Preparation {
    Done,
    /** The command cannot run; the result has the reason. */
    Failed,
    /** The same, and a thread still reads: the process must end without destructors. */
    Abandoned,
};

/**
 * Prepares a command. Its input may be a pipe that never delivers a byte, so it is read in a
 * separate thread, and a signal or the time-out of the options ends the wait.
 */
Preparation prepareBounded(Command &command, const Options &options, int signalDescriptor,
                           CommandOutcome &result);
