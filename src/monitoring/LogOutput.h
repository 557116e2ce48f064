// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Where the lines of the log go: to standard error, with their priority where that is the
 *  journal. */
namespace monitoring::logOutput {

/** From now on no message blocks its caller. Call it once, before there is a second thread. */
void install();

} // namespace monitoring::logOutput
