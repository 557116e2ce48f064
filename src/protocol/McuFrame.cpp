// SPDX-License-Identifier: Apache-2.0
#include "protocol/McuFrame.h"

#include "protocol/CommandWords.h"

#include <numeric>

namespace protocol::mcu {

namespace {

void appendWord(QByteArray &bytes, int value)
{
    bytes.append(char(value & 0xFF));
    bytes.append(char((value >> 8) & 0xFF));
}

} // namespace

quint8 byteSum(const QByteArray &bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), quint8{0},
                           [](quint8 sum, char byte) { return quint8(sum + quint8(byte)); });
}

QByteArray buildFrame(quint8 start, FrameAddress address, quint16 word, const QByteArray &payload)
{
    QByteArray frame;
    frame.reserve(payloadOffset + payload.size() + 1);
    frame.append(char(start));
    frame.append(char(address.first));
    frame.append(char(address.second));
    appendWord(frame, payload.size() + emptyLength);
    appendWord(frame, 0);
    appendWord(frame, word);
    frame.append(payload);
    frame.append(char(-byteSum(frame)));
    return frame;
}

QByteArray buildStatusFrame(quint8 start, FrameAddress address, quint16 word, quint8 status)
{
    QByteArray payload;
    appendWord(payload, word);
    payload.append(char(status));
    return buildFrame(start, address, command::escape, payload);
}

quint16 wordAt(const QByteArray &bytes, int offset)
{
    return quint16(quint8(bytes.at(offset)) | (quint8(bytes.at(offset + 1)) << 8));
}

} // namespace protocol::mcu
