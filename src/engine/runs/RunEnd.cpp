// SPDX-License-Identifier: Apache-2.0
#include "engine/runs/RunEnd.h"

#include "engine/device/CommandChannel.h"
#include "engine/device/ImageWriter.h"
#include "engine/device/RunGuard.h"
#include "engine/package/RunPackage.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunProgress.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "protocol/Progress.h"

namespace appStatus = protocol::appStatus;
namespace field = package::field;
namespace result = planning::result;
using protocol::wholeProgress;

namespace engine {

namespace {

void sayStatus(const EngineOutput &output, const QByteArray &status)
{
    output.inChain({QString::fromLatin1(protocol::key::appStatus), QString::fromLatin1(status)});
}

void sayResult(const EngineOutput &output, const RunRows &rows, const char *result)
{
    output.inChain({QString::fromLatin1(protocol::key::upgradeResult), rows.current(),
                    QString::fromLatin1(result)});
}

} // namespace

/** The run ends before its last message is sent: a listener may start the next one. */
void RunEnd::finish(const RunOutcome &outcome)
{
    const bool reading = m_parts.output.isReading();
    m_parts.report.end(outcome.success, outcome.status.toInt());
    stop();
    if (outcome.status.isEmpty())
        return;
    m_parts.output.setReading(reading);
    report(outcome);
    m_parts.output.setReading(false);
}

void RunEnd::stop()
{
    m_parts.channel.forget();
    m_parts.writer.cancel();
    m_parts.package.close();
    m_parts.output.setReading(false);
    m_parts.guard.end();
}

void RunEnd::report(const RunOutcome &outcome)
{
    if (outcome.resetsProgress)
        m_parts.progress.set(0.0);
    sayStatus(m_parts.output, outcome.status);
    if (outcome.progress)
        m_parts.progress.show(*outcome.progress);
    if (outcome.rows == RunOutcome::Rows::Untouched || !m_parts.rows.hasCurrent())
        return;
    const bool succeeded = outcome.rows == RunOutcome::Rows::CurrentSucceeded;
    const char *const value = succeeded ? result::success : result::failed;
    if (outcome.rows == RunOutcome::Rows::AllFailed)
        m_parts.rows.setAllFailed();
    else
        m_parts.rows.setCurrent(field::result, QString::fromLatin1(value));
    sayResult(m_parts.output, m_parts.rows, value);
}

void RunEnd::finishInfoWrites()
{
    finish(m_parts.guard.isActive() ? RunOutcome::succeeded(false) : RunOutcome::silent());
}

void reportUnreadablePackage(RunRows &rows, const EngineOutput &output, RunProgress &progress)
{
    sayStatus(output, appStatus::packageFailed);
    progress.showOnly(wholeProgress);
    if (!rows.hasCurrent())
        return;
    rows.setAllFailed();
    sayResult(output, rows, result::failed);
}

} // namespace engine
