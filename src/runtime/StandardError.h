// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "runtime/LossyWriter.h"

/** All output to standard error, of the log and of everything else. */
namespace runtime::standardError {

/** From now on writes do not block, and losses are reported. Call it once, before a second thread
 *  exists. */
void neverBlock(LossyWriter::LossReport report);

/** Writes the text unchanged; with stdio until neverBlock() is called. */
void write(const QByteArray &text);

/** Waits until everything is written, but at most `longest`. */
void flush(std::chrono::milliseconds longest);

} // namespace runtime::standardError
