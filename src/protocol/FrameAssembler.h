// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/McuFrame.h"

#include <QByteArray>

namespace protocol {

/** What a receiver accepts; receivers differ only in these values. */
struct AssemblerRules
{
    /** What happens when the sum of a complete frame is not zero. */
    enum class BadSum {
        /** The frame is dropped and the search for a start byte begins again. */
        Restart,
        /** The next byte replaces the checksum and the sum is tested again, so that the correct
         *  byte may follow a damaged or repeated checksum. */
        ReplaceLast,
    };

    /** Every byte that may open a frame. */
    QByteArray startBytes;
    mcu::FrameAddress address;
    /** The largest valid length field; a larger one (or one below 5) restarts the search. */
    int maxLength = 0;
    BadSum badSum = BadSum::Restart;
};

/**
 * Assembles MCU frames byte by byte, independent of commands; a frame is `length + 5` bytes whose
 * 8-bit sum is zero. The rules' largest length limits its memory.
 */
class FrameAssembler
{
public:
    enum class Result { NeedMore, Complete, BadSum };

    explicit FrameAssembler(AssemblerRules rules);

    /** Takes one byte. After Complete or BadSum, frame() holds the bytes until the next call. */
    Result feed(quint8 byte);

    /** Discards a partly received frame. */
    void reset();

    /** Index of the last byte stored, -1 while searching for a start byte. */
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
