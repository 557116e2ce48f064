// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace edid {

/**
 * The 256 bytes that a console client sends as hexadecimal fields with one space between them. A
 * field that is not a hexadecimal number counts as 0, of a larger number the low byte is used, and
 * fields after the 256th are ignored. None when there are fewer.
 */
std::optional<QByteArray> bytesFromText(const QString &argument);

} // namespace edid
