// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/Findings.h"
#include "package/MergeRequest.h"

/**
 * A value from which no package can be made, even with force; the text names the value and what is
 * allowed. It keeps the build from starting.
 */
Finding requestError(const QString &place, const QString &text);
bool isRequestError(const Finding &finding);

/** Keys of an object that have no meaning, those that are misspelt as errors; `what` is "a chip".
 */
void findUnknownKeys(const QJsonObject &object, const QString &place, const QString &what,
                     const QStringList &known, QVector<Finding> &findings);

/** What is wrong with a request in its long form, before any image file is opened. */
QVector<Finding> requestFindings(const package::MergeRequest &request);
