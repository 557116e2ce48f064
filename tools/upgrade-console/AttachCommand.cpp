// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/AttachCommand.h"

#include "client/PackageListing.h"
#include "client/TimeText.h"
#include "common/Printable.h"

using client::clockText;
using client::packageJson;

void AttachCommand::onListed(const package::PackageDescription &package)
{
    m_package = packageJson(package);
}

void AttachCommand::onNotStarted(ProblemId cause, const QString &detail)
{
    CommandOutcome outcome = CommandOutcome::failed(cause, detail);
    if (cause == ProblemId::NoRun)
        outcome.json = {{"attached", false}, {"host", options().host}};
    finish(outcome);
}

/** The start of the run is not known. */
void AttachCommand::addRun(CommandOutcome &result)
{
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(conversation().followed());
    result.json["attached"] = true;
    result.json["host"] = options().host;
    result.json["seconds"] = double(conversation().followed().count()) / 1000.0;
    result.json["saw_beginning"] = conversation().model().sawBeginning();
    QString package = QStringLiteral("not known");
    if (!m_package.isEmpty()) {
        result.json["package"] = m_package;
        package = m_package["model"].toString() + ' ' + m_package["version"].toString();
    }
    result.text += textOf({QStringLiteral("Host %1, package %2, followed for %3.")
                               .arg(options().host, printable(package), clockText(seconds))});
}
