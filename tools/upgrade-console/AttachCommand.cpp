// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/AttachCommand.h"

#include "client/PackageListing.h"
#include "client/TimeText.h"
#include "common/Printable.h"
#include "package/PackageDescription.h"
#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;
using client::AgentReply;
using client::clockText;
using client::eventOf;
using client::LineEvent;
using client::packageJson;
using client::TimeEstimate;
using client::UpgradeModel;
using package::PackageDescription;
using package::parseDescription;

void AttachCommand::onConnected()
{
    expect(UpgradeModel::ofActiveRun(), TimeEstimate());
    askWhetherBusy();
}

void AttachCommand::onReplyBefore(const AgentReply &reply)
{
    if (eventOf(reply) == LineEvent::Busy)
        join();
    else if (reply.kind == AgentReply::Kind::Heartbeat)
        endWithoutRun();
}

/** After the refusal the agent sends the lines of the run to this client. */
void AttachCommand::join()
{
    setSeenRun();
    request(consoletext::getFirmwareList);
    follow();
}

void AttachCommand::onReply(const AgentReply &reply)
{
    if (reply.kind != AgentReply::Kind::FirmwareList) {
        RunCommand::onReply(reply);
        return;
    }
    const PackageDescription package = parseDescription(reply.text.toUtf8());
    if (package.error == PackageDescription::Error::None)
        m_package = packageJson(package);
}

void AttachCommand::endWithoutRun()
{
    CommandOutcome outcome = CommandOutcome::failed(ProblemId::NoRun, {});
    outcome.json = {{"attached", false}, {"host", options().host}};
    finish(outcome);
}

/** The start of the run is not known. */
void AttachCommand::addRun(CommandOutcome &result)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(followed());
    result.json["attached"] = true;
    result.json["host"] = options().host;
    result.json["seconds"] = double(followed().count()) / 1000.0;
    result.json["saw_beginning"] = model().sawBeginning();
    QString package = QStringLiteral("not known");
    if (!m_package.isEmpty()) {
        result.json["package"] = m_package;
        package = m_package["model"].toString() + ' ' + m_package["version"].toString();
    }
    result.text += textOf({QStringLiteral("Host %1, package %2, followed for %3.")
                               .arg(options().host, printable(package), clockText(seconds))});
}
