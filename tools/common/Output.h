// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

/**
 * Writes all bytes to a descriptor, whatever signals come in between. False when it takes no more:
 * the disk is full, say, or the reader of a pipe is gone. For the latter SIGPIPE must be ignored.
 */
bool writeAll(int descriptor, const QByteArray &bytes);
