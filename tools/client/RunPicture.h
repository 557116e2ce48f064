// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AnswerWatch.h"
#include "client/TimeEstimate.h"
#include "client/UpgradeModel.h"

#include <chrono>
#include <optional>

namespace client {

/** Everything that a view needs of a run at one moment. It refers to the model and the estimate and
 *  must not outlive them. */
struct RunPicture
{
    const UpgradeModel &model;
    const TimeEstimate &estimate;
    /** The answer that is late, if one is; no time left is shown then. */
    std::optional<AnswerWait> wait;
    /** On the clock of the model. */
    std::chrono::milliseconds now{0};
    /** When the run was asked for, on the same clock. */
    std::chrono::milliseconds started{0};
};

} // namespace client
