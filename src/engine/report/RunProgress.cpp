// SPDX-License-Identifier: Apache-2.0
#include "engine/report/RunProgress.h"

#include "engine/report/EngineOutput.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "platform/Log.h"
#include "protocol/Progress.h"
#include "protocol/WireText.h"

#include <utility>

using platform::logEngine;
using protocol::filled;
using protocol::wholeProgress;

namespace engine {

RunProgress::RunProgress(const RunRows &rows, const EngineOutput &output, RunReporter &report,
                         Sink sink)
    : m_rows(rows), m_output(output), m_report(report), m_sink(std::move(sink))
{
}

void RunProgress::show(double percent)
{
    const double overall = m_rows.overall(percent);
    showOnly(percent);
    if (overall < wholeProgress)
        m_report.progress(overall);
}

void RunProgress::showOnly(double percent)
{
    const double overall = m_rows.overall(percent);
    if (overall < wholeProgress) {
        qCDebug(logEngine) << "tmpPercent:" << overall;
        m_sink(overall);
    }
    if (percent == 0.0 && !m_erasingShown.exchange(true))
        m_output.say(filled(text::erasing));
    else if (percent > 0.0 && m_erasingShown.exchange(false))
        m_output.say(filled(text::writing));
}

} // namespace engine
