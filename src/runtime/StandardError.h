// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "runtime/LossyWriter.h"

/** The one way to standard error, for the log and for everything else. */
namespace runtime::standardError {

/** From now on nothing that is written here blocks its caller, and losses are reported. Call it
 *  once, before there is a second thread. */
void neverBlock(LossyWriter::LossReport report);

/** As it stands. Until neverBlock() is called, as stdio writes. */
void write(const QByteArray &text);

/** Waits until all of it is written, but not longer than that. */
void flush(std::chrono::milliseconds longest);

} // namespace runtime::standardError
