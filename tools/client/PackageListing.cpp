// SPDX-License-Identifier: Apache-2.0
#include "client/PackageListing.h"

#include "client/Messages.h"
#include "package/PackageDescription.h"

using package::PackageDescription;
using package::parseDescription;

namespace client {

Cause listProblem(const QString &text, Cause logged)
{
    const LineMeaning meaning = meaningOf(text);
    if (meaning.cause != Cause::None)
        return meaning.cause;
    const auto error = parseDescription(text.toUtf8()).error;
    if (error == PackageDescription::Error::None)
        return Cause::None;
    const bool isAboutPackage = causeRow(logged).exit == ExitCode::PackageRefused;
    return isAboutPackage ? logged : Cause::DescriptionBroken;
}

} // namespace client
