// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/McuFrame.h"

#include <QByteArray>

namespace protocol {

/** What a receiver accepts; the receivers of the system differ only in these values. */
struct AssemblerRules
{
    /** What happens when a complete frame does not sum to zero. */
    enum class BadSum {
        /** The frame is dropped and the hunt for a start byte begins again. */
        Restart,
        /** The next byte takes the checksum's place and the sum is tested anew, so that a
         *  damaged or doubled checksum byte can still be followed by the right one. */
        ReplaceLast,
    };

    /** Every byte that may open a frame. */
    QByteArray startBytes;
    mcu::FrameAddress address;
    /** Largest length field taken; a larger one (or one below 5) restarts the hunt. */
    int maxLength = 0;
    BadSum badSum = BadSum::Restart;
};

/**
 * Puts MCU frames together byte by byte. Knows nothing of commands; a frame is `length + 5` bytes
 * whose 8-bit sum is zero. Memory is bounded by the rules' largest length.
 */
class FrameAssembler
{
public:
    enum class Result { NeedMore, Complete, BadSum };

    explicit FrameAssembler(AssemblerRules rules);

    /** Takes one byte. After Complete or BadSum, frame() holds the bytes until the next call. */
    Result feed(quint8 byte);

    /** Forgets a half-received frame. */
    void reset();

    /** Index of the last byte stored, -1 while hunting for a start byte. */
    int state() const { return m_state; }

    const QByteArray &frame() const { return m_frame; }

private:
    Result store(quint8 byte);
    Result finish();
    bool headerByteFits(quint8 byte) const;

    AssemblerRules m_rules;
    QByteArray m_frame;
    int m_state = -1;
    int m_length = 0;
};

} // namespace protocol
