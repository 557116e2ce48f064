// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

/**
 * The binary frames exchanged with the device's MCUs. All numbers are little-endian.
 *
 *   0      start byte
 *   1..2   frame address
 *   3..4   length of everything after it (payload + 5)
 *   5..6   reserved, zero
 *   7..8   command word
 *   9..    payload
 *   last   checksum: the 8-bit sum of the whole frame is zero
 */
namespace protocol::mcu {

struct FrameAddress
{
    quint8 first = 0x5B;
    quint8 second = 0xA5;
};

constexpr quint8 hostStart = 0x5A;
constexpr quint8 replyStart = 0x5B;
/** Start byte of the answers that the network module gives when it is upgraded block by block. */
constexpr quint8 moduleReplyStart = 0xAB;

constexpr int lengthOffset = 3;
constexpr int wordOffset = 7;
constexpr int payloadOffset = 9;
/** The command word of an extended frame, in the payload's place. */
constexpr int extendedWordOffset = 9;
/** The first byte after an extended frame's word, or after the two bytes of an ordinary reply that
 *  echo chip type and chip index. */
constexpr int resultOffset = 11;

/** The bytes that the length field does not count. */
constexpr int uncounted = 5;
/** The smallest value of the length field: reserved, word and checksum. */
constexpr int emptyLength = 5;
/** The length field of an extended frame with one status byte. */
constexpr int extendedLength = 8;

/** Adds the bytes up modulo 256. */
quint8 byteSum(const QByteArray &bytes);

/** The whole frame for `word` and `payload`, checksum included. */
QByteArray buildFrame(quint8 start, FrameAddress address, quint16 word,
                      const QByteArray &payload = {});

/** The 13-byte extended frame: FF FF, the word, one status byte. */
QByteArray buildStatusFrame(quint8 start, FrameAddress address, quint16 word, quint8 status);

/** The 16-bit little-endian number at `offset`, which must lie within `bytes`. */
quint16 wordAt(const QByteArray &bytes, int offset);

} // namespace protocol::mcu
