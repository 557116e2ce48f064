// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"

#include <QString>

/**
 * Writes the flash of every chip that has been written to `directory` (made when missing) as
 * NAME-TYPE-INDEX.bin, raw blocks with their padding. Returns the error, or nothing.
 */
QString saveFlash(const SimulatedDevice &device, const QString &directory);
