// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/StatusCommand.h"

#include "common/Printable.h"
#include "package/PackageDescription.h"

using client::AgentStatus;
using client::statusJson;
using client::StatusQuery;

namespace {

QString packageText(const QJsonObject &json)
{
    const QJsonObject problem = json["package_problem"].toObject();
    if (!problem.isEmpty())
        return QStringLiteral("none to upgrade from: ") + problem["text"].toString();
    const QJsonObject package = json["package"].toObject();
    const int chips = package["chips"].toInt();
    return QStringLiteral("%1 %2, ").arg(printable(package["model"].toString()),
                                         printable(package["version"].toString())) +
           (chips == 1 ? QStringLiteral("1 chip") : QStringLiteral("%1 chips").arg(chips));
}

} // namespace

StatusCommand::StatusCommand(const Options &options)
    : Command(options), m_query(options.host, options.port, options.timeOut)
{
    connect(&m_query, &StatusQuery::answered, this, &StatusCommand::show);
    connect(&m_query, &StatusQuery::failed, this, [this](ProblemId cause, const QString &detail) {
        CommandOutcome result = CommandOutcome::failed(cause, detail);
        result.json = {{"reachable", false}, {"host", this->options().host}};
        finish(result);
    });
}

void StatusCommand::show(const AgentStatus &status)
{
    CommandOutcome result;
    result.json = statusJson(status);
    result.json["reachable"] = true;
    result.json["host"] = options().host;
    result.json["last_result"] = QJsonValue::Null;
    result.text = textOf({
        QStringLiteral("Agent: reachable, version %1").arg(printable(status.version)),
        QStringLiteral("Device: ") +
            (status.isBusy ? QStringLiteral("busy with an upgrade") : QStringLiteral("not busy")),
        QStringLiteral("Package: ") + packageText(result.json),
        QStringLiteral("Last result: not known; the agent does not report it, its log has it"),
    });
    finish(result);
}
