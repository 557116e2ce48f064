// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

#include <QByteArray>

/** What the module's own upgrade sends to the console, letter for letter. */
namespace nettext {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "netupgrade/NetTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "netupgrade/NetTexts.def"
#undef WIRE_TEXT
};

inline QByteArray upgradingTrue()
{
    return isUpgrading;
}
inline QByteArray upgradingFalse()
{
    return isNotUpgrading;
}

} // namespace nettext
