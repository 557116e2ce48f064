// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>

/**
 * A process that is started with fork(2) only.
 *
 * Qt starts a plain QProcess with a clone that gives a process descriptor. An emulated kernel
 * refuses that, and after the refusal Qt keeps -1 as the process's number: a kill() would then end
 * every process of the user. For a class derived from QProcess Qt forks.
 */
class ForkedProcess : public QProcess
{
public:
    using QProcess::QProcess;
};
