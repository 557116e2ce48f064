// SPDX-License-Identifier: Apache-2.0
#include "links/LinkState.h"

#include "protocol/McuFrame.h"

namespace mcu = protocol::mcu;

quint8 g_CONNECTTYPE = links::serial;
quint8 g_UPGRADTYPE = links::netImage::installHere;
quint16 currentCommandKey = 0;
bool canRead = false;

void links::noteFrame(const unsigned char *bytes, int length)
{
    constexpr int shortest = mcu::wordOffset + 2;
    if (length >= shortest)
        currentCommandKey = quint16(bytes[mcu::wordOffset] + 256 * bytes[mcu::wordOffset + 1]);
    canRead = true;
}
