// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace package {

/**
 * The first repeated key of an object in a JSON text, when one of its values is a list or an
 * object. RFC 8259 does not define such a text, and Qt 5's parser leaks the value that it drops: a
 * long-lived process would grow each time it reads the file.
 *
 * The text may be invalid JSON; it is scanned up to the first error.
 */
std::optional<QString> repeatedKey(const QByteArray &json);

} // namespace package
