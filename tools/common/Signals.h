// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * From here on a write to a pipe without a reader (SIGPIPE), or beyond a file-size limit (SIGXFSZ),
 * is an error of the write like a full disk, and does not end the program.
 */
void ignoreWriteSignals();

/**
 * From here on SIGINT and SIGTERM no longer end the program: they can be read from the returned
 * descriptor (signalfd), which an event loop watches.
 */
int catchEndSignals();
