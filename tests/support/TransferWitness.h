// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Statuses.h"
#include "support/Fuzz.h"

#include <QByteArray>

/**
 * Observes a link and records which part of an image is certainly in the device: blocks are sent in
 * order, the next one only after the acknowledgement of the previous one, and repeated unchanged
 * otherwise. Shares no code with the uploader: a valid acknowledgement at any position of the bytes
 * that were received since the last frame counts.
 */
class TransferWitness
{
public:
    /** Another transfer begins with the next block. */
    void restart()
    {
        m_payload.clear();
        m_image.clear();
        m_count = 0;
    }

    void sent(const QByteArray &frame)
    {
        const quint16 word = protocol::mcu::wordAt(frame, protocol::mcu::wordOffset);
        if (word == protocol::command::enterUpdateMode)
            restart();
        else if (word == protocol::command::writeBlock)
            sentBlock(frame.mid(protocol::mcu::payloadOffset, protocol::block::payloadSize));
        m_received.clear();
    }

    void received(const QByteArray &bytes) { m_received += bytes; }

    /** An answer to this command was received since the last frame. */
    bool isAnswered(quint16 word) const { return hasReply(word, false); }
    /** The same, and its status or first result is 0. */
    bool isAccepted(quint16 word) const { return hasReply(word, true); }

    /** The last block, the one with the flag, was acknowledged. */
    bool isComplete() const
    {
        return m_count > 0 &&
               (quint8(m_payload.at(protocol::block::flagsOffset)) & protocol::block::lastFlag) !=
                   0 &&
               isAccepted(protocol::command::writeBlock);
    }

    /** True when the blocks hold `image`, followed only by padding. */
    bool holds(const QByteArray &image) const
    {
        const int padding = m_image.size() - image.size();
        return padding >= 0 && padding < protocol::block::dataSize && m_image.startsWith(image) &&
               m_image.endsWith(QByteArray(padding, char(protocol::block::lastPadding)));
    }

    quint8 chipType() const { return quint8(m_payload.at(protocol::block::typeOffset)); }
    quint8 chipIndex() const { return quint8(m_payload.at(protocol::block::indexOffset)); }

private:
    void sentBlock(const QByteArray &payload)
    {
        require(payload.size() == protocol::block::payloadSize);
        const int number = protocol::mcu::wordAt(payload, protocol::block::numberOffset);
        if (m_count > 0 && number == m_count - 1) {
            require(payload == m_payload);
            return;
        }
        require(number == m_count);
        require(m_count == 0 || isAccepted(protocol::command::writeBlock));
        m_payload = payload;
        m_image += payload.mid(protocol::block::dataOffset);
        ++m_count;
    }

    bool hasReply(quint16 word, bool accepting) const
    {
        for (int start = m_received.indexOf(opening); start >= 0;
             start = m_received.indexOf(opening, start + 1)) {
            if (isReply(m_received.mid(start), word, accepting))
                return true;
        }
        return false;
    }

    /** True when `bytes` begin with such a reply. */
    static bool isReply(const QByteArray &bytes, quint16 word, bool accepting)
    {
        if (bytes.size() < protocol::mcu::uncounted + protocol::mcu::emptyLength)
            return false;
        const int size =
            protocol::mcu::wordAt(bytes, protocol::mcu::lengthOffset) + protocol::mcu::uncounted;
        const QByteArray frame = bytes.left(size);
        if (frame.size() != size || size < protocol::mcu::uncounted + protocol::mcu::emptyLength ||
            protocol::mcu::byteSum(frame) != 0)
            return false;
        const bool hasResult = size >= protocol::mcu::uncounted + protocol::mcu::extendedLength;
        const bool hasWord =
            protocol::mcu::wordAt(frame, protocol::mcu::wordOffset) == word ||
            (hasResult && protocol::mcu::wordAt(frame, protocol::mcu::extendedWordOffset) == word);
        return hasWord &&
               (!accepting || (hasResult && quint8(frame.at(protocol::mcu::resultOffset)) ==
                                                protocol::status::done));
    }

    static constexpr char opening[] = "\x5B\x5B\xA5";

    QByteArray m_received;
    QByteArray m_payload;
    QByteArray m_image;
    int m_count = 0;
};
