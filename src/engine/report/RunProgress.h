// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>

namespace engine {

class EngineOutput;
class RunReporter;
class RunRows;

/**
 * The progress of the whole run, computed from that of the current row. Progress 0 means that
 * erasing has begun, and the first progress above it that erasing has ended; each is reported once
 * per image.
 */
class RunProgress
{
public:
    using Sink = std::function<void(double percent)>;

    /** `report` is used in the engine's thread only; a failing list may call from another
     *  thread. */
    RunProgress(const RunRows &rows, const EngineOutput &output, RunReporter &report, Sink sink);

    /** `percent` of the current row's image. */
    void show(double percent);
    /** As show(), from a thread that must not use the reporter. */
    void showOnly(double percent);
    /** The next image reports erasing again. */
    void restart() { m_erasingShown = false; }
    /** Reports a percentage unchanged. */
    void set(double percent) const { m_sink(percent); }

private:
    const RunRows &m_rows;
    const EngineOutput &m_output;
    RunReporter &m_report;
    Sink m_sink;
    std::atomic<bool> m_erasingShown{false};
};

} // namespace engine
