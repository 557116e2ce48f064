// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

/**
 * The values that the transports, the response parser and the uploader share. All of them belong
 * to the engine's thread.
 */

/** Which device link an engine starts with: 1 serial, 2 network, anything else none. */
extern quint8 g_CONNECTTYPE;

/** How a NET image in a package is handled; see links::netImage. */
extern quint8 g_UPGRADTYPE;

/** Command word of the last frame that was longer than 8 bytes. */
extern quint16 currentCommandKey;

/** True from the write of a frame until its reply is taken. */
extern bool canRead;

namespace links {

namespace netImage {

constexpr quint8 sendToDevice = 1;
constexpr quint8 installHere = 2;

} // namespace netImage

constexpr quint8 serial = 1;
constexpr quint8 network = 2;

/** Stores key and flag for a frame; called for every frame that a transport writes. */
void noteFrame(const unsigned char *bytes, int length);

} // namespace links
