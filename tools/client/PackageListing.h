// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Causes.h"

#include <QString>

namespace client {

/**
 * Why the package that the agent lists cannot be used; Cause::None for a good one. `text` is the
 * text of the FirmwareList reply, `logged` the cause of the last log line before it: the agent
 * reports there what is wrong with the file, and lists nothing.
 */
Cause listProblem(const QString &text, Cause logged);

} // namespace client
