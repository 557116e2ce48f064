// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"

namespace client {

/** What the agent waits for, and how long it pauses. */
constexpr platform::TimeOuts timeOuts;
constexpr platform::Pauses pauses;

} // namespace client
