// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/StepTable.h"

namespace engine {

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

/** The parts of the engine that the actions use. */
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

/** The actions of the table. They do not depend on the step: each returns the event that
 *  follows. */
namespace action {

using Result = std::optional<Event>;

// Reads
Result wait(StepContext &context, const protocol::Reply &reply);
Result readVirtualVersion(StepContext &context, const protocol::Reply &reply);
Result giveUpVirtualVersion(StepContext &context, const protocol::Reply &reply);
Result readModelName(StepContext &context, const protocol::Reply &reply);
Result takeModelName(StepContext &context, const protocol::Reply &reply);
Result readFirstBootcode(StepContext &context, const protocol::Reply &reply);
Result readNextBootcode(StepContext &context, const protocol::Reply &reply);
Result readBootcode(StepContext &context, const protocol::Reply &reply);
Result takeBootcode(StepContext &context, const protocol::Reply &reply);
Result refuseInvalidRecord(StepContext &context, const protocol::Reply &reply);
Result readProductInfo(StepContext &context, const protocol::Reply &reply);
Result takeProductInfo(StepContext &context, const protocol::Reply &reply);
Result giveUpRow(StepContext &context, const protocol::Reply &reply);
Result stopForMainBootcode(StepContext &context, const protocol::Reply &reply);
Result stopForMainProductInfo(StepContext &context, const protocol::Reply &reply);
Result readFirstVersion(StepContext &context, const protocol::Reply &reply);
Result readVersion(StepContext &context, const protocol::Reply &reply);
Result takeVersion(StepContext &context, const protocol::Reply &reply);
Result giveUpVersion(StepContext &context, const protocol::Reply &reply);
Result finishInfoRead(StepContext &context, const protocol::Reply &reply);

// Images
Result chooseMainFirst(StepContext &context, const protocol::Reply &reply);
Result chooseFirst(StepContext &context, const protocol::Reply &reply);
Result chooseNext(StepContext &context, const protocol::Reply &reply);
Result chooseAfterImage(StepContext &context, const protocol::Reply &reply);
Result choose(StepContext &context, const protocol::Reply &reply);
Result sendImage(StepContext &context, const protocol::Reply &reply);
Result repeatImage(StepContext &context, const protocol::Reply &reply);
Result awaitRestart(StepContext &context, const protocol::Reply &reply);
Result pollProductId(StepContext &context, const protocol::Reply &reply);
Result mainMcuIsBack(StepContext &context, const protocol::Reply &reply);

// The end
Result sendReboot(StepContext &context, const protocol::Reply &reply);
Result systemIsBack(StepContext &context, const protocol::Reply &reply);
Result setVirtualVersion(StepContext &context, const protocol::Reply &reply);
Result takeVirtualVersionSet(StepContext &context, const protocol::Reply &reply);
Result finishComplete(StepContext &context, const protocol::Reply &reply);
Result finishWithoutVirtualVersion(StepContext &context, const protocol::Reply &reply);
Result finishWithoutImages(StepContext &context, const protocol::Reply &reply);
Result finishQuietly(StepContext &context, const protocol::Reply &reply);
Result failStep(StepContext &context, const protocol::Reply &reply);
Result failLost(StepContext &context, const protocol::Reply &reply);
Result failPackage(StepContext &context, const protocol::Reply &reply);

// Product-information writes
Result writeInfoAfterRun(StepContext &context, const protocol::Reply &reply);
Result startInfoWrites(StepContext &context, const protocol::Reply &reply);
Result writeInfo(StepContext &context, const protocol::Reply &reply);
Result takeInfoWritten(StepContext &context, const protocol::Reply &reply);
Result giveUpInfoWrite(StepContext &context, const protocol::Reply &reply);
Result finishInfoWrites(StepContext &context, const protocol::Reply &reply);

} // namespace action

} // namespace engine
