// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/RunCommand.h"

#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;
using client::AgentReply;
using client::bytesOf;
using client::eventOf;
using client::likelyState;
using client::LineEvent;
using client::LineMeaning;
using client::meaningOf;
using client::outcomeOf;
using client::resultJson;
using client::RunPhase;
using client::RunPicture;
using client::TimeEstimate;
using client::UpgradeModel;
using client::UpgradeOutcome;
using client::WaitBack;

namespace {

using namespace std::chrono_literals;
using Kind = AgentReply::Kind;

constexpr auto redrawEvery = 500ms;

/** Lines that users should see during the run. */
bool isNotable(const QString &line)
{
    return meaningOf(line).cause != ProblemId::None || line.contains(QLatin1String(" fail"));
}

/** `text` is the line for people. */
QJsonObject messageEvent(const QString &line, const QString &text)
{
    const LineMeaning meaning = meaningOf(line);
    QJsonObject event{{"event", "message"}, {"text", text}};
    if (!meaning.id.isEmpty())
        event["id"] = meaning.id;
    if (meaning.cause != ProblemId::None)
        event["error"] = problemJson(Problem{meaning.cause});
    return event;
}

} // namespace

RunCommand::RunCommand(const Options &options)
    : Command(options), m_display(options.showsProgress()), m_waitBack(options.host, options.port)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(options.timeOut);
    m_redraw.setInterval(redrawEvery);
    connect(&m_quiet, &QTimer::timeout, this, &RunCommand::onQuiet);
    connect(&m_redraw, &QTimer::timeout, this, &RunCommand::showProgress);
    connect(&m_waitBack, &WaitBack::back, this, &RunCommand::onBack);
    connect(&m_waitBack, &WaitBack::missing, this, [this] {
        loseContact(ProblemId::NoSignOfLife, QStringLiteral("the module is not back"));
    });
}

void RunCommand::onReply(const AgentReply &reply)
{
    if (m_stage == Stage::Preparing)
        onReplyBefore(reply);
    else if (m_stage == Stage::Running)
        onRunning(reply);
}

void RunCommand::expect(const UpgradeModel &model, const TimeEstimate &estimate)
{
    m_model = model;
    m_estimate = estimate;
}

void RunCommand::follow()
{
    stopAwaiting();
    m_stage = Stage::Running;
    m_startedAt = now();
    agent().watchLife(true, m_answers.heartbeatAfter());
    m_quiet.start();
    m_redraw.start();
    showProgress();
}

void RunCommand::noteLine(const QString &line)
{
    const QString text = m_model.labelled(line);
    m_display.note("agent: " + text);
    writeEvent(messageEvent(line, text));
}

/**
 * A request without rows starts nothing, but is refused while a run is active; the heartbeat's
 * answer shows that no refusal came. Asking first matters: "UPGRADEALL" is passed over in silence
 * by a busy agent, which then sends the other run's lines here.
 */
void RunCommand::askWhetherBusy()
{
    m_isBusySeen = false;
    agent().request(bytesOf(consoletext::upgrade));
    request(consoletext::heartbeat);
    awaitReply();
}

void RunCommand::onRunning(const AgentReply &reply)
{
    if (m_isAskingAgain && (eventOf(reply) == LineEvent::Busy || reply.kind == Kind::Heartbeat)) {
        m_isBusySeen = m_isBusySeen || reply.kind != Kind::Heartbeat;
        if (reply.kind == Kind::Heartbeat)
            onQuietAnswered(m_isBusySeen);
        return;
    }
    if (refuses(reply) || !m_model.take(reply, now()))
        return;
    m_estimate.take(reply, now());
    m_answers.take(reply, now());
    agent().watchLife(true, m_answers.heartbeatAfter());
    // The question whether the device is busy also causes lines about the link.
    const LineEvent event = eventOf(reply);
    m_hasSeenRun = m_hasSeenRun || event != LineEvent::Note;
    m_quiet.start();
    if (reply.kind == Kind::Log && isNotable(reply.text))
        noteLine(reply.text);
    showProgress();
    if (m_model.hasEnded())
        endRun();
}

void RunCommand::onPulseAnswered()
{
    m_model.expectGap();
}

void RunCommand::showProgress()
{
    if (options().form == OutputForm::JsonLines) {
        const auto events = m_events.changes(picture());
        for (const QJsonObject &event : events)
            writeEvent(event);
        return;
    }
    m_display.print(m_changeLines.next(picture()));
    m_display.draw([this](const Terminal &terminal) { return liveLines(picture(), terminal); });
}

/** Times start with the request. */
RunPicture RunCommand::picture()
{
    return {m_model, m_estimate, m_model.hasEnded() ? std::nullopt : m_answers.at(now()), now(),
            m_startedAt};
}

void RunCommand::failRun(ProblemId cause, const QString &detail)
{
    m_redraw.stop();
    m_display.close();
    fail(cause, detail);
}

/** Either the agent works in silence, or the run has ended and another client got its last words.
 */
void RunCommand::onQuiet()
{
    m_isAskingAgain = true;
    askWhetherBusy();
}

void RunCommand::onQuietAnswered(bool isBusy)
{
    stopAwaiting();
    m_isAskingAgain = false;
    if (isBusy)
        m_quiet.start();
    else if (m_hasSeenRun)
        loseContact(ProblemId::OutcomeUnseen, {});
    else
        failRun(ProblemId::NotStarted);
}

void RunCommand::endRun()
{
    finish(resultOf(outcomeOf(m_model)));
}

CommandOutcome RunCommand::resultOf(const UpgradeOutcome &outcome)
{
    m_redraw.stop();
    m_quiet.stop();
    showProgress();
    m_display.close();
    CommandOutcome result;
    result.exit = outcome.exit;
    if (outcome.exit != ExitCode::Done && outcome.exit != ExitCode::NothingToDo)
        result.problem =
            Problem{outcome.cause, m_model.labelled(m_model.problemLine(outcome.cause))};
    QStringList lines = resultTable(m_model, now(), Terminal::of(1).style);
    if (!lines.isEmpty())
        lines += QString();
    result.text = textOf(lines + QStringList{outcome.summary});
    addRun(result);
    result.json["summary"] = outcome.summary;
    result.json["rebooted"] = m_model.hasRebooted();
    result.json["mcus"] = resultJson(m_model, now());
    if (!m_model.netVersion().isEmpty())
        result.json["net_version"] = m_model.netVersion();
    return result;
}

void RunCommand::onLost(ProblemId cause, const QString &detail)
{
    const bool isRestart =
        m_stage == Stage::Running &&
        (m_model.phase() == RunPhase::Rebooting || m_model.phase() == RunPhase::SettingVersion);
    if (!isRestart || !options().waitBack) {
        loseContact(cause, detail);
        return;
    }
    m_stage = Stage::WaitingBack;
    m_quiet.stop();
    stopAwaiting();
    m_display.note(QStringLiteral("the network module restarts"));
    m_waitBack.start();
}

/** The verdict went down with the module; its images were acknowledged before. */
void RunCommand::onBack(const QString &version)
{
    m_model.assumeSuccess(now());
    CommandOutcome result = resultOf(outcomeOf(m_model));
    result.json["verdict_seen"] = false;
    result.json["agent_version"] = version;
    result.warnings.append({QStringLiteral("verdict-unseen"),
                            QStringLiteral("the module restarted with the device, before the "
                                           "agent's verdict; run the upgrade again to be sure"),
                            {}});
    finish(result);
}

void RunCommand::onDeadline()
{
    loseContact(ProblemId::NoSignOfLife, QStringLiteral("a request was not answered"));
}

void RunCommand::interrupt()
{
    loseContact(ProblemId::Interrupted, {});
}

void RunCommand::loseContact(ProblemId cause, const QString &detail)
{
    if (m_stage != Stage::Running && m_stage != Stage::WaitingBack) {
        fail(cause, detail);
        return;
    }
    const QStringList state =
        cause == ProblemId::OutcomeUnseen ? QStringList() : likelyState(m_model, cause);
    m_model.settleUnseen(now());
    CommandOutcome result =
        resultOf({problemRow(cause).exit, cause, QStringLiteral("The outcome is not known.")});
    result.problem = Problem{cause, detail, state.join(QLatin1Char('\n'))};
    if (!state.isEmpty())
        result.json["likely_state"] = QJsonArray::fromStringList(state);
    finish(result);
}
