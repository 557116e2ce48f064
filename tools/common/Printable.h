// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/**
 * A text from a file, a device or the network, made safe for a terminal: each character that is not
 * printable (control, format and unassigned ones) becomes its code, "\u001b".
 */
QString printable(const QString &text);
