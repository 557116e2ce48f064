// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Step.h"

#include "protocol/FrameAssembler.h"

namespace devicecheck {

/** Something that was found in the bytes of a device. */
struct Arrival
{
    enum class Kind { Frame, WrongChecksum, Stray };

    Kind kind = Kind::Stray;
    QByteArray bytes;
    /** When the last byte arrived, and the longest wait for one of the other bytes. */
    milliseconds end{0};
    milliseconds gap{0};
};

/** Divides the bytes of a device into frames, by the agent's rules, and what is between them. */
class AnswerReader
{
public:
    AnswerReader();

    void read(const QByteArray &bytes, milliseconds time);
    const QVector<Arrival> &arrivals() const { return m_arrivals; }
    /** The beginning of a frame that has not ended. */
    QByteArray incomplete() const;

private:
    void feed(quint8 byte, milliseconds time);
    void addStray(const QByteArray &bytes, milliseconds time);

    protocol::FrameAssembler m_assembler;
    QVector<Arrival> m_arrivals;
    milliseconds m_lastByte{0};
    milliseconds m_gap{0};
};

} // namespace devicecheck
