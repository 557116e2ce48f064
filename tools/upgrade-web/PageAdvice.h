// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"

#include <QJsonObject>
#include <QString>

namespace web {

/** The advice for a person at the page. */
QString pageAdvice(ProblemId problem);

/** The same document with the advice for a person at the page in each problem. */
QJsonObject withPageAdvice(const QJsonObject &document);

} // namespace web
