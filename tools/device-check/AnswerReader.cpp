// SPDX-License-Identifier: Apache-2.0
#include "device-check/AnswerReader.h"

#include <algorithm>

namespace mcu = protocol::mcu;
using protocol::AssemblerRules;
using protocol::FrameAssembler;

namespace devicecheck {

namespace {

constexpr int longestFrame = 4096;

AssemblerRules answerRules()
{
    AssemblerRules rules;
    rules.startBytes.append(char(mcu::replyStart));
    rules.maxLength = longestFrame - mcu::uncounted;
    rules.badSum = AssemblerRules::BadSum::Restart;
    return rules;
}

} // namespace

AnswerReader::AnswerReader() : m_assembler(answerRules()) {}

void AnswerReader::read(const QByteArray &bytes, milliseconds time)
{
    for (const char byte : bytes)
        feed(quint8(byte), time);
}

QByteArray AnswerReader::incomplete() const
{
    return m_assembler.state() >= 0 ? m_assembler.frame() : QByteArray();
}

void AnswerReader::feed(quint8 byte, milliseconds time)
{
    const QByteArray before = incomplete();
    m_gap = before.isEmpty() ? milliseconds(0) : std::max(m_gap, time - m_lastByte);
    m_lastByte = time;
    const FrameAssembler::Result result = m_assembler.feed(byte);
    if (result != FrameAssembler::Result::NeedMore) {
        const bool isGood = result == FrameAssembler::Result::Complete;
        m_arrivals.append({isGood ? Arrival::Kind::Frame : Arrival::Kind::WrongChecksum,
                           m_assembler.frame(), time, m_gap});
    } else if (m_assembler.state() < 0) {
        addStray(before + char(byte), time);
    }
}

void AnswerReader::addStray(const QByteArray &bytes, milliseconds time)
{
    if (m_arrivals.isEmpty() || m_arrivals.last().kind != Arrival::Kind::Stray)
        m_arrivals.append(Arrival());
    m_arrivals.last().bytes += bytes;
    m_arrivals.last().end = time;
}

} // namespace devicecheck
