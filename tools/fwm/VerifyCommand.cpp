// SPDX-License-Identifier: Apache-2.0
#include "fwm/Commands.h"
#include "fwm/Findings.h"
#include "fwm/OpenPackage.h"
#include "fwm/SignatureReport.h"
#include "fwm/Words.h"

#include <QJsonArray>

namespace {

QJsonObject findingJson(const Finding &finding)
{
    const bool isError = finding.severity == Finding::Severity::Error;
    return {
        {QStringLiteral("severity"), isError ? QStringLiteral("error") : QStringLiteral("warning")},
        {QStringLiteral("id"), finding.name},
        {QStringLiteral("offset"), finding.offset},
        {QStringLiteral("text"), finding.text}};
}

} // namespace

CommandOutcome runVerify(const Options &options)
{
    const OpenPackage package = openPackage(options.file, Depth::Images, options);
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    SignatureReport signature({options.file, options.keys, options.signature});
    if (signature.wrongOptions())
        return CommandOutcome::failed(*signature.wrongOptions());
    signature.check(package.contents.checksum);

    const std::optional<ImageInfo> &net = package.contents.netImage;
    const QVector<Finding> findings = net ? netImageFindings(*net) : findingsIn(package.contents);
    CommandOutcome outcome;
    QJsonArray list;
    for (const Finding &finding : findings) {
        list.append(findingJson(finding));
        outcome.text +=
            printable(options.file + QLatin1Char(':') + findingText(finding)) + QLatin1Char('\n');
    }
    if (!signature.line().isEmpty())
        outcome.text += signature.line() + QLatin1Char('\n');
    outcome.json = {{QStringLiteral("file"), options.file},
                    {QStringLiteral("findings"), list},
                    {QStringLiteral("signature"), signature.json()}};
    if (const std::optional<Problem> untrusted = signature.problem())
        outcome.fail(untrusted->id, untrusted->detail);
    else if (hasErrors(findings))
        outcome.fail(ProblemId::FindingsFound, options.file);
    else if (net)
        outcome.text +=
            QStringLiteral("%1: good, network module image, version %2, MD5 %3\n")
                .arg(printable(options.file), QString::fromLatin1(net->net->image.version),
                     QString::fromLatin1(net->net->image.md5Text));
    else
        outcome.text +=
            QStringLiteral("%1: good, %2, checksum %3\n")
                .arg(printable(options.file), imageCountText(package.contents.images.size()),
                     QString::fromLatin1(package.contents.checksum.computed));
    return outcome;
}
