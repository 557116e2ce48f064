// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Command.h"

/** The document that "--json" prints: the command's own members, result and exit status, and the
 *  error if there is one. */
QJsonObject resultDocument(const QString &command, const CommandResult &result);

/** Why it did not work and what helps, lines for standard error; nothing after a success. */
QStringList diagnosis(const CommandResult &result);
