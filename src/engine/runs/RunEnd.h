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
    /** The progress of the whole run is set back to 0. */
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
    /** The device has sent an image of the module itself. The status is that of a failure in both
     *  cases: the module reboots either way. */
    static RunOutcome deviceSentImage(bool success, double progress)
    {
        return {protocol::appStatus::statusFrameFailed, success, progress,
                success ? Rows::CurrentSucceeded : Rows::CurrentFailed, false};
    }
};

/** The one way out of a run: nothing is in flight afterwards, and nothing fires. */
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
    /** Of a run, or of writes that are none. */
    void finishInfoWrites();

private:
    void stop();
    void report(const RunOutcome &outcome);

    Parts m_parts;
};

/** What a console client gets when a package cannot be read: the end of a run that never was. */
void reportUnreadablePackage(RunRows &rows, const EngineOutput &output, RunProgress &progress);

} // namespace engine
