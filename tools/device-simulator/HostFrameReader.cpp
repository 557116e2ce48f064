// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/HostFrameReader.h"

#include "protocol/McuFrame.h"

#include <utility>

namespace mcu = protocol::mcu;
using protocol::AssemblerRules;
using protocol::FrameAssembler;

namespace {

constexpr int longestFrame = 4096;

AssemblerRules hostRules()
{
    AssemblerRules rules;
    // Commands start with the host's start byte, extended status frames with that of replies.
    rules.startBytes.append(char(mcu::hostStart));
    rules.startBytes.append(char(mcu::replyStart));
    rules.maxLength = longestFrame - mcu::uncounted;
    rules.badSum = AssemblerRules::BadSum::Restart;
    return rules;
}

/** Why a header is invalid at the byte after index `state`. */
QString headerProblem(int state)
{
    switch (state) {
    case 0:
        return QStringLiteral("wrong first frame address byte");
    case 1:
        return QStringLiteral("wrong second frame address byte");
    default:
        return QStringLiteral("length field out of range");
    }
}

} // namespace

HostFrameReader::HostFrameReader() : m_assembler(hostRules()) {}

QVector<HostItem> HostFrameReader::read(const QByteArray &bytes)
{
    m_items.clear();
    for (const char byte : bytes)
        feed(quint8(byte));
    flushStray();
    return std::move(m_items);
}

void HostFrameReader::feed(quint8 byte)
{
    const int stateBefore = m_assembler.state();
    const FrameAssembler::Result result = m_assembler.feed(byte);
    if (result != FrameAssembler::Result::NeedMore) {
        const bool isGood = result == FrameAssembler::Result::Complete;
        m_items.append({isGood ? HostItem::Kind::Frame : HostItem::Kind::BadChecksum,
                        m_assembler.frame(),
                        {}});
        return;
    }
    if (m_assembler.state() >= 0) {
        if (stateBefore < 0)
            flushStray();
        return;
    }
    if (stateBefore >= 0) {
        m_stray += m_assembler.frame();
        m_strayProblem = headerProblem(stateBefore);
    }
    m_stray.append(char(byte));
}

void HostFrameReader::flushStray()
{
    if (m_stray.isEmpty())
        return;
    if (m_strayProblem.isEmpty())
        m_strayProblem = QStringLiteral("bytes outside of any frame");
    m_items.append({HostItem::Kind::Stray, m_stray, m_strayProblem});
    m_stray.clear();
    m_strayProblem.clear();
}

QByteArray HostFrameReader::dropHalfFrame()
{
    QByteArray half = isMidFrame() ? m_assembler.frame() : QByteArray();
    m_assembler.reset();
    return half;
}
