// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <chrono>
#include <optional>

/** Whether there is a person to ask. */
bool canAsk();

/**
 * Asks on the terminal and returns the line that is typed, without blanks at its ends. Nothing when
 * none came in this time, at the end of the input, or after a signal at the descriptor
 * `endSignals`.
 */
std::optional<QString> askPerson(const QString &question, std::chrono::milliseconds longest,
                                 int endSignals);
