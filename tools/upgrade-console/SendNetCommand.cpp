// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/SendNetCommand.h"

#include "client/Messages.h"
#include "client/TimeEstimate.h"
#include "common/Printable.h"
#include "netupgrade/NetTexts.h"
#include "protocol/CommandWords.h"
#include "protocol/ConsoleTexts.h"
#include "protocol/Progress.h"
#include "upgrade-console/Bars.h"

#include <QFile>
#include <QJsonArray>

#include <algorithm>

namespace command = protocol::command;
namespace consoletext = protocol::consoletext;
namespace nettext = netupgrade::nettext;
using client::AgentReply;
using client::leftText;
using client::LineEvent;
using client::LineMeaning;
using client::meaningOf;
using client::NetBlocks;
using client::problemOfBlockStatus;
using client::WaitBack;
using protocol::wholeProgress;

namespace {

using namespace std::chrono_literals;
using Kind = AgentReply::Kind;

constexpr int attempts = 3;
/** A module that received an unusable frame accepts frames again after 10 s. */
constexpr std::chrono::milliseconds longestAnswer = 12s;
/** Between two lines of an installation: unpacking may be slow, but ends. */
constexpr std::chrono::milliseconds longestInstallStep = 10min;
/** Far more than the module can store. */
constexpr qint64 largestImage = 512LL * 1024 * 1024;

} // namespace

SendNetCommand::SendNetCommand(const Options &options)
    : Command(options), m_display(options.showsProgress()), m_waitBack(options.host, options.port)
{
    m_answer.setSingleShot(true);
    m_answer.setInterval(std::min(longestAnswer, options.timeOut / attempts));
    m_install.setSingleShot(true);
    connect(&m_answer, &QTimer::timeout, this, &SendNetCommand::onUnanswered);
    connect(&m_install, &QTimer::timeout, this, [this] {
        loseContact(ProblemId::NoSignOfLife, QStringLiteral("the installation does not go on"));
    });
    connect(&m_waitBack, &WaitBack::back, this, [this](const QString &version) {
        CommandOutcome result = resultWith(m_soft, QStringLiteral("The module is back."));
        result.json["agent_version"] = version;
        finish(result);
    });
    connect(&m_waitBack, &WaitBack::missing, this, [this] {
        loseContact(ProblemId::NoSignOfLife, QStringLiteral("the module is not back"));
    });
}

bool SendNetCommand::prepare(CommandOutcome &result)
{
    QFile file(options().file);
    QByteArray image;
    if (file.open(QIODevice::ReadOnly))
        image = file.read(largestImage + 1);
    const bool isUsable = file.error() == QFile::NoError && image.size() <= largestImage;
    const QString problem = isUsable ? NetBlocks::problem(image)
                            : file.error() == QFile::NoError
                                ? QStringLiteral("it is larger than any image")
                                : file.errorString();
    if (problem.isEmpty()) {
        m_blocks = std::make_unique<NetBlocks>(image);
        return true;
    }
    result =
        CommandOutcome::failed(isUsable ? ProblemId::NetImageInvalid : ProblemId::FileUnreadable,
                               options().file + ": " + problem);
    return false;
}

/** The heartbeat makes this connection the one that gets the answers to blocks. */
void SendNetCommand::onConnected()
{
    m_stage = Stage::Asking;
    request(consoletext::upgrade);
    request(consoletext::heartbeat);
    awaitReply();
}

void SendNetCommand::onReply(const AgentReply &reply)
{
    if (reply.kind == Kind::Log && meaningOf(reply.text).cause == ProblemId::NetSignedOnly) {
        fail(ProblemId::NetSignedOnly);
        return;
    }
    switch (m_stage) {
    case Stage::Asking:
        onAsked(reply);
        break;
    case Stage::Entering:
    case Stage::Sending:
        if (reply.kind == Kind::ModuleStatus)
            onStatus(reply);
        break;
    case Stage::Installing:
        onInstalling(reply);
        break;
    case Stage::WaitingBack:
        break;
    }
}

void SendNetCommand::onAsked(const AgentReply &reply)
{
    if (reply.kind == Kind::Log && meaningOf(reply.text).event == LineEvent::Busy) {
        fail(ProblemId::Busy);
    } else if (reply.kind == Kind::Heartbeat) {
        stopAwaiting();
        m_stage = Stage::Entering;
        m_begun = now();
        m_display.print({QStringLiteral("module: sending")});
        sendFrame(NetBlocks::enterFrame());
    }
}

void SendNetCommand::sendFrame(const QByteArray &frame)
{
    m_frame = frame;
    m_attempts = 1;
    agent().sendFragment(frame);
    m_answer.start();
}

void SendNetCommand::onStatus(const AgentReply &reply)
{
    const bool isEnter = m_stage == Stage::Entering;
    if (reply.word != (isEnter ? command::enterUpdateMode : command::writeBlock))
        return;
    const ProblemId cause = problemOfBlockStatus(reply.status);
    if (cause == ProblemId::None) {
        m_stage = Stage::Sending;
        sendNextBlock();
    } else if (isEnter && cause == ProblemId::BlockRefused) {
        fail(ProblemId::Busy, QStringLiteral("the module does not take new firmware now"));
    } else {
        onRefused(cause);
    }
}

/** A damaged frame is sent again, a refused one is not. */
void SendNetCommand::onRefused(ProblemId cause)
{
    if (cause != ProblemId::BlockDamaged || m_attempts >= attempts) {
        loseContact(cause, {});
        return;
    }
    onUnanswered();
}

void SendNetCommand::onUnanswered()
{
    if (m_attempts >= attempts) {
        loseContact(ProblemId::BlockUnanswered, {});
        return;
    }
    repeatFrame();
    m_answer.start();
}

void SendNetCommand::repeatFrame()
{
    ++m_attempts;
    ++m_retries;
    m_display.print({"module: " + bars::retries(m_retries)});
    agent().sendFragment(m_frame);
}

void SendNetCommand::sendNextBlock()
{
    m_blocks->next();
    m_percent = wholeProgress * double(m_blocks->sent()) / double(m_blocks->size());
    showProgress();
    if (m_blocks->isLast())
        sendLastBlock();
    else
        sendFrame(m_blocks->frame());
}

/** The module does not acknowledge it; the lines of its installation follow. */
void SendNetCommand::sendLastBlock()
{
    sendFrame(m_blocks->frame());
    m_answer.stop();
    m_stage = Stage::Installing;
    m_percent = 0.0;
    m_display.print({QStringLiteral("module: installing")});
    m_install.start(options().timeOut);
}

void SendNetCommand::onInstalling(const AgentReply &reply)
{
    if (reply.kind == Kind::ModuleStatus) {
        onLastBlockStatus(reply);
        return;
    }
    if (reply.kind == Kind::Progress)
        m_percent = std::clamp(reply.percent, m_percent, wholeProgress);
    if (reply.kind == Kind::NetVersion)
        m_version = reply.text;
    if (reply.kind == Kind::ModuleText && reply.text.toLatin1() == nettext::upgradingTrue())
        m_percent = wholeProgress;
    showProgress();
    if (reply.kind != Kind::Log)
        return;

    const LineMeaning meaning = meaningOf(reply.text);
    if (meaning.event == LineEvent::Unknown)
        return;
    // After its first line the installation continues alone, with long pauses between its lines.
    m_installBegun = true;
    m_install.start(std::max(options().timeOut, longestInstallStep));
    agent().watchLife(true);
    m_display.print({"agent: " + reply.text});
    if (meaning.event == LineEvent::NetFailed)
        finish(resultWith(meaning.cause, QStringLiteral("Nothing was installed.")));
    else if (meaning.event == LineEvent::RunProblem)
        m_soft = meaning.cause;
    else if (meaning.event == LineEvent::NetReboot)
        endInstall();
}

/** A module that does not take the last block installs nothing. Once it installs, it says nothing
 *  about blocks, and a status is the answer to another sender. */
void SendNetCommand::onLastBlockStatus(const AgentReply &reply)
{
    const ProblemId cause = problemOfBlockStatus(reply.status);
    if (m_installBegun || reply.word != command::writeBlock || cause == ProblemId::None)
        return;
    if (cause == ProblemId::BlockDamaged && m_attempts < attempts) {
        repeatFrame();
        m_install.start(options().timeOut);
        return;
    }
    m_stage = Stage::Sending;
    loseContact(cause, {});
}

void SendNetCommand::endInstall()
{
    if (!options().waitBack) {
        finish(resultWith(
            m_soft,
            QStringLiteral("The module restarts now; in a minute its agent answers again.")));
        return;
    }
    // When this connection ends, the module restarts.
    m_display.print({QStringLiteral("module: restarting")});
    m_stage = Stage::WaitingBack;
}

void SendNetCommand::onLost(ProblemId cause, const QString &detail)
{
    m_install.stop();
    if (m_stage == Stage::WaitingBack)
        m_waitBack.start();
    else
        loseContact(cause, detail);
}

void SendNetCommand::onDeadline()
{
    loseContact(ProblemId::NoSignOfLife, QStringLiteral("a request was not answered"));
}

void SendNetCommand::interrupt()
{
    loseContact(ProblemId::Interrupted, {});
}

void SendNetCommand::loseContact(ProblemId cause, const QString &detail)
{
    QStringList state;
    if (m_stage == Stage::Entering || m_stage == Stage::Sending)
        state = QStringList{
            QStringLiteral("Nothing was installed: the module installs only after the last block."),
            QStringLiteral("Send the image again.")};
    else if (m_stage == Stage::Installing)
        state = QStringList{
            QStringLiteral(
                "The module has the whole image and installs it without this connection."),
            QStringLiteral("Leave the device on for a few minutes, then ask with 'version'.")};
    else if (m_stage == Stage::WaitingBack)
        state = QStringList{QStringLiteral("The firmware is installed and the module restarts."),
                            QStringLiteral("If it stays away, switch the device off and on.")};
    CommandOutcome result = resultWith(cause, {});
    result.problem = Problem{cause, detail, state.join(QLatin1Char('\n'))};
    result.json["likely_state"] = QJsonArray::fromStringList(state);
    finish(result);
}

/** A line for each whole percent. */
void SendNetCommand::writeProgress(bool isSending)
{
    const int percent = int(m_percent);
    if (percent == m_percentWritten)
        return;
    m_percentWritten = percent;
    writeEvent({{"event", "progress"},
                {"phase", isSending ? "sending" : "installing"},
                {"percent", percent},
                {"retries", m_retries}});
}

void SendNetCommand::showProgress()
{
    const bool isSending = m_stage == Stage::Entering || m_stage == Stage::Sending;
    writeProgress(isSending);
    const double seconds = std::chrono::duration<double>(now() - m_begun).count();
    const auto sent = double(m_blocks->sent());
    QStringList parts{bars::percent(m_percent)};
    if (isSending && seconds > 0 && sent > 0) {
        const double left = (double(m_blocks->size()) - sent) * seconds / sent;
        parts += {bars::rate(sent / seconds), leftText({std::chrono::seconds(qint64(left)), true})};
    }
    if (m_retries > 0)
        parts += bars::retries(m_retries);
    const QString head = bars::head(QStringLiteral("module"), isSending ? "sending" : "installing");
    m_display.draw([&](const Terminal &terminal) {
        const QString line =
            head + "  " + bars::bar(m_percent, terminal.columns) + ' ' + parts.join("  ");
        return QStringList{line.left(terminal.columns - 1)};
    });
}

CommandOutcome SendNetCommand::resultWith(ProblemId cause, const QString &summary)
{
    m_answer.stop();
    m_install.stop();
    m_display.close();
    CommandOutcome result;
    if (cause != ProblemId::None)
        result.fail(cause, {});
    if (!m_version.isEmpty())
        result.text += textOf({"Installed version: " + printable(m_version)});
    if (!summary.isEmpty())
        result.text += textOf({summary});
    result.json["retries"] = m_retries;
    result.json["bytes"] = m_blocks->size();
    if (!m_version.isEmpty())
        result.json["net_version"] = m_version;
    return result;
}
