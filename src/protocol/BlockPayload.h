// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

/**
 * The payload of one write-block command: MCU type, MCU index, block number (16 bit,
 * little-endian), flags, then 256 bytes of the image.
 */
namespace protocol::block {

constexpr int typeOffset = 0;
constexpr int indexOffset = 1;
constexpr int numberOffset = 2;
constexpr int flagsOffset = 4;
constexpr int dataOffset = 5;
constexpr int dataSize = 256;
constexpr int payloadSize = dataOffset + dataSize;

constexpr quint8 lastFlag = 0x40;
/** Fills the last block after the image's end; the first block of a short image is filled with
 *  zeros. */
constexpr quint8 lastPadding = 0xFF;

} // namespace protocol::block
