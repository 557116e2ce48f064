// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>

namespace engine {

class EngineOutput;
class RunReporter;
class RunRows;

/**
 * The progress of the whole run, made from that of the row that it is at. Progress of 0 starts the
 * erasing of a chip, and the first above it ends that; each is reported once for an image.
 */
class RunProgress
{
public:
    using Sink = std::function<void(double percent)>;

    /** Only `report` belongs to the engine's thread; a list that fails may call on another one. */
    RunProgress(const RunRows &rows, const EngineOutput &output, RunReporter &report, Sink sink);

    /** `percent` of the current row's image. */
    void show(double percent);
    /** The same from a thread that must not touch the reporter. */
    void showOnly(double percent);
    /** The next image is erased again. */
    void restart() { m_erasingShown = false; }
    /** A percentage as it stands. */
    void set(double percent) const { m_sink(percent); }

private:
    const RunRows &m_rows;
    const EngineOutput &m_output;
    RunReporter &m_report;
    Sink m_sink;
    std::atomic<bool> m_erasingShown{false};
};

} // namespace engine
