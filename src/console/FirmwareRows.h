// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

namespace console {

/**
 * The rows that upgrade every MCU a package describes: one for each image of the description, in
 * its order, with the image's name, the chip type less one and the chip's quantity. Two images with
 * the same name give two rows. Empty when the text is not a description.
 */
QStringList firmwareRows(const QString &description);

} // namespace console
