// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/Options.h"
#include "fwm/Outcome.h"

Outcome runInfo(const Options &options);
Outcome runVerify(const Options &options);
Outcome runList(const Options &options);
Outcome runExtract(const Options &options);
Outcome runBuild(const Options &options);
Outcome runAddNet(const Options &options);
Outcome runMakeNet(const Options &options);
Outcome runDiff(const Options &options);
Outcome runPlan(const Options &options);
