// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace package {

/**
 * The first key that an object of a JSON text has twice, when one of its values is a list or an
 * object. RFC 8259 leaves open what such a text means, and Qt 5's parser loses the memory of the
 * value that it drops: a file with such keys would make a long-lived process grow at every reading.
 *
 * The text need not be sound JSON; it is looked at up to where a parser would give up.
 */
std::optional<QString> repeatedKey(const QByteArray &json);

} // namespace package
