// SPDX-License-Identifier: Apache-2.0
#include "engine/report/RunReporter.h"

#include <utility>

namespace engine {

namespace {

RunEvent about(RunEvent::Kind kind, const RunMcu &mcu = {})
{
    RunEvent event;
    event.kind = kind;
    event.mcu = mcu;
    return event;
}

} // namespace

/** Adds the current percentage and counts to the event. */
void RunReporter::send(RunEvent event)
{
    event.percent = m_state.percent;
    event.written = m_state.written;
    event.failed = m_state.failed;
    event.skipped = m_state.skipped;
    m_sink(event);
}

void RunReporter::begin()
{
    end(false);
    m_open = true;
    m_writing = false;
    m_state = RunEvent();
    m_runTime.start();
    send(about(RunEvent::Kind::Begun));
}

void RunReporter::signature(bool success, const QString &key, const QString &text)
{
    if (!m_open)
        return;
    RunEvent event = about(RunEvent::Kind::SignatureChecked);
    event.success = success;
    event.key = key;
    event.text = text;
    send(event);
}

void RunReporter::reading(const RunMcu &mcu)
{
    if (!m_open || (m_state.kind == RunEvent::Kind::Reading && m_state.mcu.name == mcu.name))
        return;
    m_state.kind = RunEvent::Kind::Reading;
    m_state.mcu = mcu;
    send(about(RunEvent::Kind::Reading, mcu));
}

void RunReporter::skip(const RunMcu &mcu, const QString &why)
{
    if (!m_open)
        return;
    ++m_state.skipped;
    RunEvent event = about(RunEvent::Kind::Skipped, mcu);
    event.text = why;
    send(event);
}

void RunReporter::write(const RunMcu &mcu, int bytes)
{
    if (!m_open)
        return;
    m_state.kind = RunEvent::Kind::Writing;
    m_state.mcu = mcu;
    m_state.bytes = bytes;
    m_writing = true;
    m_imageTime.start();
    RunEvent event = about(RunEvent::Kind::Writing, mcu);
    event.bytes = bytes;
    send(event);
}

void RunReporter::progress(double percent)
{
    const int whole = int(percent);
    if (!m_open || whole == m_state.percent)
        return;
    m_state.percent = whole;
    send(about(RunEvent::Kind::Progress));
}

void RunReporter::retry(const QString &name, int attempt, const QString &what)
{
    sendFailure(RunEvent::Kind::Retried, name, what, attempt);
}

void RunReporter::giveUp(const QString &name, const QString &what)
{
    sendFailure(RunEvent::Kind::GivenUp, name, what, 0);
}

void RunReporter::sendFailure(RunEvent::Kind kind, const QString &name, const QString &what,
                              int attempt)
{
    if (!m_open)
        return;
    RunEvent event = about(kind);
    event.mcu.name = name;
    event.attempt = attempt;
    event.text = what;
    send(event);
}

void RunReporter::written(bool success)
{
    if (!m_open || !std::exchange(m_writing, false))
        return;
    ++(success ? m_state.written : m_state.failed);
    RunEvent event = about(RunEvent::Kind::Written, m_state.mcu);
    event.success = success;
    event.bytes = m_state.bytes;
    event.milliseconds = m_imageTime.elapsed();
    send(event);
}

void RunReporter::restarting()
{
    if (!m_open || m_state.kind == RunEvent::Kind::Restarting)
        return;
    m_state.kind = RunEvent::Kind::Restarting;
    send(about(RunEvent::Kind::Restarting));
}

void RunReporter::installing(const QString &version)
{
    m_installTime.start();
    RunEvent event = about(RunEvent::Kind::Installing);
    event.mcu.offered = version;
    m_installVersion = version;
    send(event);
}

void RunReporter::installed(bool success)
{
    RunEvent event = about(RunEvent::Kind::Installed);
    event.mcu.offered = m_installVersion;
    event.success = success;
    event.milliseconds = m_installTime.elapsed();
    if (m_open && !m_writing) // an image without a row
        ++(success ? m_state.written : m_state.failed);
    send(event);
}

void RunReporter::resuming(const RunInstall &install)
{
    m_installTime.start();
    m_installVersion = install.version;
    RunEvent event = about(RunEvent::Kind::Resuming);
    event.install = install;
    send(event);
}

void RunReporter::resumed()
{
    RunEvent event = about(RunEvent::Kind::Resumed);
    event.mcu.offered = m_installVersion;
    event.success = true;
    event.milliseconds = m_installTime.elapsed();
    send(event);
}

void RunReporter::notResumed(const RunInstall &install, bool isPostponed, const QString &why)
{
    RunEvent event = about(RunEvent::Kind::NotResumed);
    event.install = install;
    event.isPostponed = isPostponed;
    event.text = why;
    send(event);
}

void RunReporter::end(bool success, int status)
{
    if (!std::exchange(m_open, false))
        return;
    RunEvent event = about(RunEvent::Kind::Ended);
    event.success = success;
    event.status = status;
    event.milliseconds = m_runTime.elapsed();
    send(event);
}

} // namespace engine
