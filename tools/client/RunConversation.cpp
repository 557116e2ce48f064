// SPDX-License-Identifier: Apache-2.0
#include "client/RunConversation.h"

#include "client/PackageListing.h"
#include "client/RunDocument.h"
#include "client/UpgradeOutcome.h"
#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;
using package::PackageDescription;
using package::parseDescription;

namespace client {

namespace {

using namespace std::chrono_literals;
using Kind = AgentReply::Kind;

constexpr auto redrawEvery = 500ms;

} // namespace

QByteArray upgradeRequest(const QStringList &rows)
{
    return bytesOf(consoletext::upgrade) + rows.join(consoletext::separator).toLatin1();
}

RunConversation::RunConversation(const Peer &peer, QObject *parent)
    : QObject(parent),
      m_peer(peer),
      m_agent(peer.host, peer.port, peer.timeOut),
      m_waitBack(peer.host, peer.port)
{
    m_clock.start();
    m_deadline.setSingleShot(true);
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(peer.timeOut);
    m_redraw.setInterval(redrawEvery);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        loseContact(ProblemId::NoSignOfLife, QStringLiteral("a request was not answered"));
    });
    connect(&m_quiet, &QTimer::timeout, this, &RunConversation::onQuiet);
    connect(&m_redraw, &QTimer::timeout, this, &RunConversation::changed);
    connect(&m_agent, &AgentConnection::connected, this, &RunConversation::askWhetherBusy);
    connect(&m_agent, &AgentConnection::received, this, &RunConversation::onReply);
    connect(&m_agent, &AgentConnection::pulseAnswered, this, [this] { m_model.expectGap(); });
    connect(&m_agent, &AgentConnection::lost, this, &RunConversation::onLost);
    connect(&m_waitBack, &WaitBack::back, this, &RunConversation::onBack);
    connect(&m_waitBack, &WaitBack::missing, this, [this] {
        loseContact(ProblemId::NoSignOfLife, QStringLiteral("the module is not back"));
    });
}

void RunConversation::prepare()
{
    m_agent.open();
}

void RunConversation::attach()
{
    m_isJoining = true;
    m_model = UpgradeModel::ofActiveRun();
    m_agent.open();
}

void RunConversation::start(const RunRequest &request)
{
    m_request = request;
    m_model = request.model;
    m_estimate = request.estimate;
    m_stage = Stage::SettingMode;
    m_agent.request(bytesOf(consoletext::upgradeMode) + QByteArray::number(request.mode));
    await();
}

void RunConversation::interrupt()
{
    loseContact(ProblemId::Interrupted, {});
}

void RunConversation::close()
{
    m_stage = Stage::Over;
    m_deadline.stop();
    m_quiet.stop();
    m_redraw.stop();
    m_agent.close();
}

RunPicture RunConversation::picture() const
{
    return {m_model, m_estimate, m_model.hasEnded() ? std::nullopt : m_answers.at(now()), now(),
            m_startedAt};
}

void RunConversation::await()
{
    m_deadline.start(m_peer.timeOut);
}

/**
 * A request without rows starts nothing, but is refused while a run is active; the reply to the
 * heartbeat shows that no refusal came. The question must come first: a busy agent ignores
 * "UPGRADEALL" without a reply, and then sends the other run's lines here.
 */
void RunConversation::askWhetherBusy()
{
    m_isBusySeen = false;
    m_agent.request(bytesOf(consoletext::upgrade));
    m_agent.request(bytesOf(consoletext::heartbeat));
    await();
}

void RunConversation::onReply(const AgentReply &reply)
{
    switch (m_stage) {
    case Stage::Asking:
        return onAsked(reply);
    case Stage::Listing:
        return onListed(reply);
    case Stage::SettingMode:
        return onModeSet(reply);
    case Stage::Running:
        return onRunning(reply);
    case Stage::Ready:
    case Stage::WaitingBack:
    case Stage::Over:
        return;
    }
}

void RunConversation::onAsked(const AgentReply &reply)
{
    const bool isBusy = eventOf(reply) == LineEvent::Busy;
    if (!isBusy && reply.kind != Kind::Heartbeat)
        return;
    if (isBusy && m_isJoining) {
        join();
    } else if (isBusy) {
        refuse(ProblemId::Busy);
    } else if (m_isJoining) {
        refuse(ProblemId::NoRun);
    } else {
        m_stage = Stage::Listing;
        m_agent.request(bytesOf(consoletext::getFirmwareList));
        await();
    }
}

void RunConversation::onListed(const AgentReply &reply)
{
    if (reply.kind == Kind::FirmwareList)
        onPackage(reply.text);
    else if (reply.kind == Kind::Log && meaningOf(reply.text).cause != ProblemId::None)
        m_listProblem = meaningOf(reply.text).cause;
}

void RunConversation::onPackage(const QString &text)
{
    const ProblemId problem = listProblem(text, m_listProblem);
    if (problem != ProblemId::None) {
        refuse(problem, text.startsWith('{') ? QString() : text);
        return;
    }
    m_deadline.stop();
    m_stage = Stage::Ready;
    emit listed(parseDescription(text.toUtf8()));
}

void RunConversation::onModeSet(const AgentReply &reply)
{
    if (eventOf(reply) == LineEvent::ModeSet) {
        emit begun();
        m_agent.request(m_request.line);
        follow();
    } else if (reply.kind == Kind::Log && meaningOf(reply.text).cause == ProblemId::ModeRefused) {
        refuse(ProblemId::ModeRefused, reply.text);
    }
}

/** The refusal shows that a run is active; from it on the lines of the run come here. */
void RunConversation::join()
{
    m_hasSeenRun = true;
    m_agent.request(bytesOf(consoletext::getFirmwareList));
    emit begun();
    follow();
}

void RunConversation::follow()
{
    m_deadline.stop();
    m_stage = Stage::Running;
    m_startedAt = now();
    m_agent.watchLife(true, m_answers.heartbeatAfter());
    m_quiet.start();
    m_redraw.start();
    emit changed();
}

/** The agent's reply to the request itself; once the run has begun such lines are about others. */
bool RunConversation::refuses(const AgentReply &reply)
{
    if (reply.kind != Kind::Log || m_hasSeenRun)
        return false;
    const ProblemId cause = meaningOf(reply.text).cause;
    const bool isRefusal = cause == ProblemId::Busy || cause == ProblemId::UnknownRequest ||
                           cause == ProblemId::RowsRefused || cause == ProblemId::PackageMissing;
    if (isRefusal)
        refuse(cause, reply.text);
    return isRefusal;
}

void RunConversation::onRunning(const AgentReply &reply)
{
    if (m_isJoining && reply.kind == Kind::FirmwareList) {
        const PackageDescription package = parseDescription(reply.text.toUtf8());
        if (package.error == PackageDescription::Error::None)
            emit listed(package);
        return;
    }
    if (m_isAskingAgain && (eventOf(reply) == LineEvent::Busy || reply.kind == Kind::Heartbeat)) {
        onQuietAnswered(reply);
        return;
    }
    if (refuses(reply) || !m_model.take(reply, now()))
        return;
    m_estimate.take(reply, now());
    m_answers.take(reply, now());
    m_agent.watchLife(true, m_answers.heartbeatAfter());
    // The link's own lines also come from asking whether the device is busy.
    m_hasSeenRun = m_hasSeenRun || eventOf(reply) != LineEvent::Note;
    m_quiet.start();
    if (reply.kind == Kind::Log)
        emit lineReceived(reply.text);
    emit changed();
    if (m_model.hasEnded())
        end(runDocument(m_model, outcomeOf(m_model), now()));
}

/** Either the agent works without a line, or the run has ended and another client received its
 *  last lines. */
void RunConversation::onQuiet()
{
    m_isAskingAgain = true;
    askWhetherBusy();
}

void RunConversation::onQuietAnswered(const AgentReply &reply)
{
    m_isBusySeen = m_isBusySeen || reply.kind != Kind::Heartbeat;
    if (reply.kind != Kind::Heartbeat)
        return;
    m_deadline.stop();
    m_isAskingAgain = false;
    if (m_isBusySeen)
        m_quiet.start();
    else if (m_hasSeenRun)
        loseContact(ProblemId::OutcomeUnseen, {});
    else
        refuse(ProblemId::NotStarted);
}

void RunConversation::onLost(ProblemId cause, const QString &detail)
{
    const bool isRestart =
        m_stage == Stage::Running &&
        (m_model.phase() == RunPhase::Rebooting || m_model.phase() == RunPhase::SettingVersion);
    if (!isRestart || !m_peer.waitsBack) {
        loseContact(cause, detail);
        return;
    }
    m_stage = Stage::WaitingBack;
    m_quiet.stop();
    m_deadline.stop();
    emit moduleRestarts();
    m_waitBack.start();
}

/** The agent's result is lost with the restart; all images were acknowledged before. */
void RunConversation::onBack(const QString &version)
{
    if (m_stage != Stage::WaitingBack)
        return;
    m_model.assumeSuccess(now());
    end(unseenVerdictDocument(m_model, version, now()));
}

void RunConversation::loseContact(ProblemId cause, const QString &detail)
{
    if (m_stage == Stage::Over)
        return;
    if (m_stage != Stage::Running && m_stage != Stage::WaitingBack) {
        refuse(cause, detail);
        return;
    }
    const QStringList state =
        cause == ProblemId::OutcomeUnseen ? QStringList() : likelyState(m_model, cause);
    m_model.settleUnseen(now());
    end(lostRunDocument(m_model, Problem{cause, detail}, state, now()));
}

void RunConversation::end(const CommandOutcome &result)
{
    emit changed();
    close();
    emit ended(result);
}

void RunConversation::refuse(ProblemId cause, const QString &detail)
{
    close();
    emit notStarted(cause, detail);
}

} // namespace client
