// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace edid {

/**
 * The 256 bytes that a console client sends as hexadecimal fields with one space between them.
 * A field that is no hexadecimal number counts as 0, of a larger one the low byte counts, and
 * fields after the 256th do not count. Nothing when there are fewer.
 */
std::optional<QByteArray> bytesFromText(const QString &argument);

} // namespace edid
