// SPDX-License-Identifier: Apache-2.0
#include "client/PackageListing.h"

#include "client/Messages.h"

using package::PackageDescription;
using package::parseDescription;

namespace client {

namespace {

/** The agent lists a package that it will not use, too. */
bool isAboutTrust(ProblemId problem)
{
    return problem == ProblemId::KeysUnusable || problemRow(problem).exit == ExitCode::NotTrusted;
}

} // namespace

ProblemId listProblem(const QString &text, ProblemId logged)
{
    if (isAboutTrust(logged))
        return logged;
    const LineMeaning meaning = meaningOf(text);
    if (meaning.cause != ProblemId::None)
        return meaning.cause;
    const auto error = parseDescription(text.toUtf8()).error;
    if (error == PackageDescription::Error::None)
        return ProblemId::None;
    const bool isAboutPackage = problemRow(logged).exit == ExitCode::PackageRefused;
    return isAboutPackage ? logged : ProblemId::DescriptionBroken;
}

QJsonObject packageJson(const PackageDescription &package)
{
    return {{"model", package.model}, {"version", package.version}};
}

} // namespace client
