// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

#include <QByteArray>

/** The exact texts that the module's own upgrade sends to the console. */
namespace netupgrade::nettext {

#define WIRE_TEXTS "netupgrade/NetTexts.def"
#include "protocol/WireTable.inc"

inline QByteArray upgradingTrue()
{
    return isUpgrading;
}
inline QByteArray upgradingFalse()
{
    return isNotUpgrading;
}

} // namespace netupgrade::nettext
