// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/AppStatus.h"

#include <QByteArray>

#include <optional>

namespace engine {

class CommandChannel;
class EngineOutput;
class ImageWriter;
class RunGuard;
class RunPackage;
class RunProgress;
class RunReporter;
class RunRows;

/** How a run ends. */
struct RunOutcome
{
    enum class Rows { Untouched, AllFailed, CurrentFailed, CurrentSucceeded };

    /** Empty: nothing is reported. */
    QByteArray status;
    bool success = false;
    /** Of the current row. */
    std::optional<double> progress;
    Rows rows = Rows::Untouched;
    /** The progress of the whole run is reset to 0. */
    bool resetsProgress = false;

    static RunOutcome silent() { return {}; }
    static RunOutcome succeeded(bool resetsProgress)
    {
        return {protocol::appStatus::success, true, {}, Rows::Untouched, resetsProgress};
    }
    static RunOutcome failed(const char *status, double progress)
    {
        return {status, false, progress, Rows::AllFailed, false};
    }
    /** The device has sent an image of the module itself. The status is always that of a failure:
     *  the module reboots in both cases. */
    static RunOutcome deviceSentImage(bool success, double progress)
    {
        return {protocol::appStatus::statusFrameFailed, success, progress,
                success ? Rows::CurrentSucceeded : Rows::CurrentFailed, false};
    }
};

/** Ends a run: afterwards no command is in flight and no timer runs. */
class RunEnd
{
public:
    /** The parts that an end stops or reports through. */
    struct Parts
    {
        RunGuard &guard;
        CommandChannel &channel;
        ImageWriter &writer;
        RunPackage &package;
        RunRows &rows;
        EngineOutput &output;
        RunReporter &report;
        RunProgress &progress;
    };

    explicit RunEnd(const Parts &parts) : m_parts(parts) {}

    void finish(const RunOutcome &outcome);
    /** Ends product-information writes, whether they are part of a run or not. */
    void finishInfoWrites();

private:
    void stop();
    void report(const RunOutcome &outcome);

    Parts m_parts;
};

/** Sends a console client the end of a failed run when a package cannot be read. */
void reportUnreadablePackage(RunRows &rows, const EngineOutput &output, RunProgress &progress);

} // namespace engine
