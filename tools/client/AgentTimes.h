// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"

namespace client {

/** The time-outs and the pauses of the agent. */
constexpr platform::TimeOuts timeOuts;
constexpr platform::Pauses pauses;

} // namespace client
