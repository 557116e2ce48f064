// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"
#include "package/PackageDescription.h"

#include <QJsonObject>
#include <QString>

namespace client {

/**
 * Why the package that the agent lists cannot be used; ProblemId::None for a good one. `text` is
 * the text of the FirmwareList reply, `logged` the cause of the last log line before it: the agent
 * reports there what is wrong with the file, and lists nothing; a package without the signature of
 * a trusted key it lists all the same.
 */
ProblemId listProblem(const QString &text, ProblemId logged);

/** Which package it is: model and version. */
QJsonObject packageJson(const package::PackageDescription &package);

} // namespace client
