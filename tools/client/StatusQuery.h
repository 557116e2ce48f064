// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentConnection.h"

#include <QJsonObject>

#include <optional>

namespace package {
struct PackageDescription;
}

namespace client {

/** What an agent reports about itself and its module. */
struct AgentStatus
{
    QString version;
    bool isBusy = false;
    /** As the agent lists the package, and what its log said before. */
    QString list;
    ProblemId listProblem = ProblemId::None;

    /** Why the package cannot be used; None for a good one. */
    ProblemId packageProblem() const;
    package::PackageDescription package() const;
};

/** The members agent_version, busy, package and package_problem of a document. */
QJsonObject statusJson(const AgentStatus &status);

/**
 * Asks an agent once for its status. Ends with answered() or failed(), within the time-out for each
 * of its two questions, unless it is deleted before. The questions redirect the lines of a run that
 * is active to this connection.
 */
class StatusQuery : public QObject
{
    Q_OBJECT

public:
    StatusQuery(const QString &host, quint16 port, std::chrono::milliseconds timeOut,
                QObject *parent = nullptr);

    void start() { m_agent.open(); }

signals:
    void answered(const AgentStatus &status);
    void failed(ProblemId cause, const QString &detail);

private:
    void askTheRest();
    void onReply(const AgentReply &reply);
    void onLog(const AgentReply &reply);
    void await() { m_deadline.start(m_agent.timeOut()); }

    AgentConnection m_agent;
    QTimer m_deadline;
    AgentStatus m_status;
    bool m_isBusyKnown = false;
};

} // namespace client
