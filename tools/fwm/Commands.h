// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandOutcome.h"
#include "fwm/Options.h"

CommandOutcome runInfo(const Options &options);
CommandOutcome runVerify(const Options &options);
CommandOutcome runList(const Options &options);
CommandOutcome runExtract(const Options &options);
CommandOutcome runBuild(const Options &options);
CommandOutcome runNew(const Options &options);
CommandOutcome runExplain(const Options &options);
CommandOutcome runAddNet(const Options &options);
CommandOutcome runMakeNet(const Options &options);
CommandOutcome runDiff(const Options &options);
CommandOutcome runPlan(const Options &options);
