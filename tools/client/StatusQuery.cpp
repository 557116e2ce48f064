// SPDX-License-Identifier: Apache-2.0
#include "client/StatusQuery.h"

#include "client/Messages.h"
#include "client/PackageListing.h"
#include "common/CommandOutcome.h"
#include "common/PackageRows.h"
#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;
using package::PackageDescription;
using package::parseDescription;

namespace client {

ProblemId AgentStatus::packageProblem() const
{
    return client::listProblem(list, listProblem);
}

PackageDescription AgentStatus::package() const
{
    return parseDescription(list.toUtf8());
}

QJsonObject statusJson(const AgentStatus &status)
{
    QJsonObject json{{"agent_version", status.version}, {"busy", status.isBusy}};
    const ProblemId problem = status.packageProblem();
    if (problem != ProblemId::None) {
        json["package"] = QJsonValue::Null;
        json["package_problem"] = problemJson(Problem{problem});
        return json;
    }
    QJsonObject about = packageJson(status.package());
    about["chips"] = int(rowsOf(status.package(), Numbering::FromZero).size());
    json["package"] = about;
    json["package_problem"] = QJsonValue::Null;
    return json;
}

/** A request without rows starts nothing, but is refused while a run is active. */
StatusQuery::StatusQuery(const QString &host, quint16 port, std::chrono::milliseconds timeOut,
                         QObject *parent)
    : QObject(parent), m_agent(host, port, timeOut)
{
    m_deadline.setSingleShot(true);
    connect(&m_agent, &AgentConnection::connected, this, [this] {
        m_agent.request(bytesOf(consoletext::upgrade));
        m_agent.request(bytesOf(consoletext::heartbeat));
        await();
    });
    connect(&m_agent, &AgentConnection::received, this, &StatusQuery::onReply);
    connect(&m_agent, &AgentConnection::lost, this, [this](ProblemId cause, const QString &detail) {
        m_deadline.stop();
        emit failed(cause, detail);
    });
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        m_agent.close();
        emit failed(ProblemId::NoSignOfLife, QStringLiteral("a request was not answered"));
    });
}

/** Only now, since a busy agent sends the lines of its run as well. */
void StatusQuery::askTheRest()
{
    m_isBusyKnown = true;
    m_agent.request(bytesOf(consoletext::version));
    m_agent.request(bytesOf(consoletext::getFirmwareList));
    m_agent.request(bytesOf(consoletext::heartbeat));
    await();
}

void StatusQuery::onReply(const AgentReply &reply)
{
    using Kind = AgentReply::Kind;
    if (reply.kind == Kind::Version) {
        m_status.version = reply.text;
    } else if (reply.kind == Kind::FirmwareList) {
        m_status.list = reply.text;
    } else if (reply.kind == Kind::Log) {
        onLog(reply);
    } else if (reply.kind == Kind::Heartbeat && !m_isBusyKnown) {
        askTheRest();
    } else if (reply.kind == Kind::Heartbeat) {
        m_deadline.stop();
        m_agent.close();
        emit answered(m_status);
    }
}

void StatusQuery::onLog(const AgentReply &reply)
{
    const LineMeaning meaning = meaningOf(reply.text);
    m_status.isBusy = m_status.isBusy || meaning.event == LineEvent::Busy;
    if (m_isBusyKnown && !m_status.isBusy && meaning.cause != ProblemId::None)
        m_status.listProblem = meaning.cause;
}

} // namespace client
