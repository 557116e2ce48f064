// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/StatusCommand.h"

#include "client/Messages.h"
#include "client/PackageListing.h"
#include "common/PackageRows.h"
#include "common/Printable.h"
#include "protocol/ConsoleTexts.h"
#include "upgrade-console/Terminal.h"

namespace consoletext = protocol::consoletext;
using client::AgentReply;
using client::bytesOf;
using client::LineEvent;
using client::LineMeaning;
using client::listProblem;
using client::meaningOf;
using client::packageJson;
using package::PackageDescription;
using package::parseDescription;

namespace {

QString chipsText(int count)
{
    return count == 1 ? QStringLiteral("1 chip") : QStringLiteral("%1 chips").arg(count);
}

} // namespace

/** A request without rows starts nothing, but is refused while a run is active. */
void StatusCommand::onConnected()
{
    agent().request(bytesOf(consoletext::upgrade));
    request(consoletext::heartbeat);
    awaitReply();
}

/** Sent only now, since a busy agent also sends the lines of its run. */
void StatusCommand::askTheRest()
{
    m_isBusyKnown = true;
    request(consoletext::version);
    request(consoletext::getFirmwareList);
    request(consoletext::heartbeat);
    awaitReply();
}

void StatusCommand::onReply(const AgentReply &reply)
{
    using Kind = AgentReply::Kind;
    if (reply.kind == Kind::Version) {
        m_version = reply.text;
    } else if (reply.kind == Kind::FirmwareList) {
        m_list = reply.text;
    } else if (reply.kind == Kind::Heartbeat) {
        if (m_isBusyKnown)
            show();
        else
            askTheRest();
    } else if (reply.kind == Kind::Log) {
        const LineMeaning meaning = meaningOf(reply.text);
        m_isBusy = m_isBusy || meaning.event == LineEvent::Busy;
        if (m_isBusyKnown && !m_isBusy && meaning.cause != ProblemId::None)
            m_listProblem = meaning.cause;
    }
}

QString StatusCommand::packageText(QJsonObject &json) const
{
    const ProblemId problem = listProblem(m_list, m_listProblem);
    if (problem != ProblemId::None) {
        json["package"] = QJsonValue::Null;
        json["package_problem"] = problemJson(Problem{problem});
        return QStringLiteral("none to upgrade from: ") +
               QString::fromLatin1(problemRow(problem).text);
    }
    json["package_problem"] = QJsonValue::Null;
    const PackageDescription package = parseDescription(m_list.toUtf8());
    const int chips = rowsOf(package, Numbering::FromZero).size();
    QJsonObject about = packageJson(package);
    about["chips"] = chips;
    json["package"] = about;
    return QStringLiteral("%1 %2, %3")
        .arg(printable(package.model), printable(package.version), chipsText(chips));
}

void StatusCommand::show()
{
    CommandOutcome result;
    result.json = {{"reachable", true},
                   {"host", options().host},
                   {"agent_version", m_version},
                   {"busy", m_isBusy},
                   {"last_result", QJsonValue::Null}};
    const QString package = packageText(result.json);
    result.text = textOf({
        QStringLiteral("Agent: reachable, version %1").arg(printable(m_version)),
        QStringLiteral("Device: ") +
            (m_isBusy ? QStringLiteral("busy with an upgrade") : QStringLiteral("not busy")),
        QStringLiteral("Package: ") + package,
        QStringLiteral("Last result: not known; the agent does not report it, its log has it"),
    });
    finish(result);
}

void StatusCommand::onLost(ProblemId cause, const QString &detail)
{
    CommandOutcome result = CommandOutcome::failed(cause, detail);
    result.json = {{"reachable", false}, {"host", options().host}};
    finish(result);
}

void StatusCommand::onDeadline()
{
    onLost(ProblemId::NoSignOfLife, QStringLiteral("a request was not answered"));
}
