// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Writes the lines of the log to standard error, with their priority if that is the journal. */
namespace monitoring::logOutput {

/** Installs a message handler that never blocks. Call it once, before a second thread exists. */
void install();

} // namespace monitoring::logOutput
