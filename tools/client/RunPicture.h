// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AnswerWatch.h"
#include "client/TimeEstimate.h"
#include "client/UpgradeModel.h"

#include <chrono>
#include <optional>

namespace client {

/** All data about a run that a view needs at one moment. It refers to the model and the estimate
 * and must not outlive them. */
struct RunPicture
{
    const UpgradeModel &model;
    const TimeEstimate &estimate;
    /** The late answer, if there is one; the time left is then not shown. */
    std::optional<AnswerWait> wait;
    /** On the clock of the model. */
    std::chrono::milliseconds now{0};
    /** The time of the request of the run, on the same clock. */
    std::chrono::milliseconds started{0};
};

} // namespace client
