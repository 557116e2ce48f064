// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/** The text for wrong usage in words for people, from the one of the command-line parser. */
QString usageText(const QString &parserText);
