// SPDX-License-Identifier: Apache-2.0
// The commands about requests that build nothing.
#include "bytes/AtomicFile.h"
#include "fwm/Commands.h"
#include "fwm/RequestFile.h"
#include "fwm/RequestFindings.h"
#include "fwm/RequestOf.h"
#include "fwm/ShortRequest.h"
#include "fwm/Words.h"
#include "fwm/WriteOutput.h"

#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>

using bytes::AtomicFile;

CommandOutcome runNew(const Options &options)
{
    if (QFileInfo::exists(options.output))
        return CommandOutcome::failed(ProblemId::OutputExists, options.output);
    AtomicFile output(options.output);
    if (!output.open() || !output.write(sampleRequest()) || !output.commit())
        return cannotWrite(output, options.output);
    CommandOutcome outcome;
    outcome.json = {{QStringLiteral("output"), options.output}};
    outcome.text = QStringLiteral("%1: a sample to edit; then 'fwm build %1 -o FW.fwm'\n")
                       .arg(printable(options.output));
    return outcome;
}

CommandOutcome runExplain(const Options &options)
{
    const RequestFile request = readRequest(options.file);
    if (request.failure)
        return *request.failure;
    CommandOutcome outcome;
    outcome.warnings = request.shown(request.findings, Finding::Severity::Warning);
    outcome.errors = request.shown(request.findings, Finding::Severity::Error);
    if (std::any_of(request.findings.begin(), request.findings.end(), isRequestError)) {
        outcome.fail(ProblemId::RequestValue, request.path);
        return outcome;
    }
    const QJsonDocument description = QJsonDocument::fromJson(request.description);
    outcome.json = {{QStringLiteral("file"), options.file},
                    {QStringLiteral("request"), description.object()}};
    outcome.text = QString::fromLatin1(inAscii(description.toJson()));
    return outcome;
}
