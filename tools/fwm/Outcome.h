// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandOutcome.h"

using Outcome = CommandOutcome;
using Failure = ProblemId;
