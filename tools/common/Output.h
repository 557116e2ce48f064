// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

/**
 * Writes all bytes to a descriptor, whatever signals come in between. False when it takes no more:
 * the disk is full, say, or the reader of a pipe is gone. For the latter SIGPIPE must be ignored.
 */
bool writeAll(int descriptor, const QByteArray &bytes);

/**
 * Writes what a program was asked for to standard output. When that fails, standard error gets a
 * line that starts with the program's name, and false is returned.
 */
bool writeOutput(const char *program, const QByteArray &text);
