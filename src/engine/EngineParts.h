// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/device/CommandChannel.h"
#include "engine/device/DeviceLinks.h"
#include "engine/device/ImageWriter.h"
#include "engine/device/RunGuard.h"
#include "engine/package/PackageBuilder.h"
#include "engine/package/PackageShelf.h"
#include "engine/package/RunPackage.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunProgress.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "engine/runs/InfoRead.h"
#include "engine/runs/InfoWrite.h"
#include "engine/runs/NetInstall.h"
#include "engine/runs/RunEnd.h"
#include "engine/runs/UpgradeRun.h"
#include "engine/steps/StepActions.h"
#include "engine/steps/StepMachine.h"

namespace engine {

/** The receivers of the engine's reports. */
struct EngineSinks
{
    EngineOutput::Sink message;
    RunReporter::Sink event;
    RunProgress::Sink percent;
};

/** The parts that all others report through. */
struct ReportParts
{
    explicit ReportParts(const EngineSinks &sinks);

    EngineOutput output;
    RunRows rows;
    RunReporter report;
    RunProgress progress;
};

/** The parts that talk to the device. */
struct DeviceParts : ReportParts
{
    /** `owner` becomes the parent of each part that is a QObject, so that they share its thread. */
    DeviceParts(const EngineSinks &sinks, const CommandChannel::LateAnswer &isLate,
                const platform::Platform &platform, const LinkFactory &factory, QObject *owner);

    RunGuard guard;
    DeviceLinks links;
    CommandChannel channel;
    ImageWriter writer;
};

/** The parts of the engine, each constructed after those that it needs. */
struct EngineParts : DeviceParts
{
    EngineParts(const EngineSinks &sinks, const platform::Platform &platform,
                const LinkFactory &factory, QObject *owner);

    PackageShelf shelf;
    RunPackage package;
    PackageBuilder builder;
    RunEnd end;
    NetInstall netInstall;
    UpgradeRun upgrade;
    InfoRead infoRead;
    InfoWrite infoWrite;
    StepContext context;
    StepMachine steps;

private:
    /** The row that a step works on. */
    int rowOf(Step step) const;
    bool isLateAnswer(const protocol::Reply &reply) const;
};

} // namespace engine
