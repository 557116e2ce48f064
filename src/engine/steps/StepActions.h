// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/StepTable.h"

class CommandChannel;
class EngineOutput;
class ImageWriter;
class InfoRead;
class InfoWrite;
class PackageShelf;
class RunEnd;
class RunReporter;
class RunRows;
class UpgradeRun;

/** The parts of the engine that the actions work on. */
struct StepContext
{
    RunRows &rows;
    CommandChannel &channel;
    const EngineOutput &output;
    RunReporter &report;
    PackageShelf &shelf;
    ImageWriter &writer;
    UpgradeRun &upgrade;
    InfoRead &infoRead;
    InfoWrite &infoWrite;
    RunEnd &end;
};

/** What the lines of the table do. None of them knows a step: each returns what it found out. */
namespace action {

using Result = std::optional<Event>;

// Reads
Result wait(StepContext &context, const Reply &reply);
Result readVirtualVersion(StepContext &context, const Reply &reply);
Result giveUpVirtualVersion(StepContext &context, const Reply &reply);
Result readModelName(StepContext &context, const Reply &reply);
Result takeModelName(StepContext &context, const Reply &reply);
Result readFirstBootcode(StepContext &context, const Reply &reply);
Result readNextBootcode(StepContext &context, const Reply &reply);
Result readBootcode(StepContext &context, const Reply &reply);
Result takeBootcode(StepContext &context, const Reply &reply);
Result refuseInvalidRecord(StepContext &context, const Reply &reply);
Result readProductInfo(StepContext &context, const Reply &reply);
Result takeProductInfo(StepContext &context, const Reply &reply);
Result giveUpRow(StepContext &context, const Reply &reply);
Result stopForMainBootcode(StepContext &context, const Reply &reply);
Result stopForMainProductInfo(StepContext &context, const Reply &reply);
Result readFirstVersion(StepContext &context, const Reply &reply);
Result readVersion(StepContext &context, const Reply &reply);
Result takeVersion(StepContext &context, const Reply &reply);
Result giveUpVersion(StepContext &context, const Reply &reply);
Result finishInfoRead(StepContext &context, const Reply &reply);

// Images
Result chooseMainFirst(StepContext &context, const Reply &reply);
Result chooseFirst(StepContext &context, const Reply &reply);
Result chooseNext(StepContext &context, const Reply &reply);
Result chooseAfterImage(StepContext &context, const Reply &reply);
Result choose(StepContext &context, const Reply &reply);
Result sendImage(StepContext &context, const Reply &reply);
Result repeatImage(StepContext &context, const Reply &reply);
Result awaitRestart(StepContext &context, const Reply &reply);
Result pollProductId(StepContext &context, const Reply &reply);
Result mainMcuIsBack(StepContext &context, const Reply &reply);

// The end
Result sendReboot(StepContext &context, const Reply &reply);
Result systemIsBack(StepContext &context, const Reply &reply);
Result setVirtualVersion(StepContext &context, const Reply &reply);
Result takeVirtualVersionSet(StepContext &context, const Reply &reply);
Result finishComplete(StepContext &context, const Reply &reply);
Result finishWithoutVirtualVersion(StepContext &context, const Reply &reply);
Result finishWithoutImages(StepContext &context, const Reply &reply);
Result finishQuietly(StepContext &context, const Reply &reply);
Result failStep(StepContext &context, const Reply &reply);
Result failLost(StepContext &context, const Reply &reply);
Result failPackage(StepContext &context, const Reply &reply);

// Product-information writes
Result writeInfoAfterRun(StepContext &context, const Reply &reply);
Result startInfoWrites(StepContext &context, const Reply &reply);
Result writeInfo(StepContext &context, const Reply &reply);
Result takeInfoWritten(StepContext &context, const Reply &reply);
Result giveUpInfoWrite(StepContext &context, const Reply &reply);
Result finishInfoWrites(StepContext &context, const Reply &reply);

} // namespace action
