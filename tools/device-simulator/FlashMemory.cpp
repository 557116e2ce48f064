// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/FlashMemory.h"

#include "protocol/BlockPayload.h"
#include "protocol/McuFrame.h"

#include <algorithm>

namespace block = protocol::block;
namespace mcu = protocol::mcu;

namespace {

constexpr int blockCount = 0x10000;

QString hexByte(quint8 byte)
{
    return QStringLiteral("0x%1").arg(byte, 2, 16, QLatin1Char('0'));
}

} // namespace

void FlashMemory::open()
{
    m_open = true;
    m_nextBlock = 0;
    m_lastPayload.clear();
}

void FlashMemory::close()
{
    m_open = false;
    m_lastPayload.clear();
}

QString FlashMemory::problemOf(const QByteArray &payload) const
{
    if (payload.size() != block::payloadSize)
        return QStringLiteral("block payload of %1 bytes, must be %2")
            .arg(payload.size())
            .arg(block::payloadSize);
    const auto flags = quint8(payload.at(block::flagsOffset));
    if ((flags & ~block::lastFlag) != 0)
        return QStringLiteral("block flags %1, must be 0x00 or 0x40").arg(hexByte(flags));
    if (!m_open)
        return QStringLiteral("block without Enter F/W Update Mode");
    const int number = mcu::wordAt(payload, block::numberOffset);
    if (number != m_nextBlock % blockCount)
        return QStringLiteral("block number %1, expected %2").arg(number).arg(m_nextBlock);
    return {};
}

FlashMemory::Verdict FlashMemory::write(const QByteArray &payload)
{
    if (!m_lastPayload.isEmpty() && payload == m_lastPayload)
        return {true, false, {}};

    Verdict verdict;
    verdict.problem = problemOf(payload);
    if (!verdict.problem.isEmpty())
        return verdict;

    if (m_nextBlock == 0)
        m_bytes.clear();
    m_bytes.append(payload.mid(block::dataOffset));
    m_lastPayload = payload;
    ++m_nextBlock;
    verdict.accepted = true;
    verdict.completed = (quint8(payload.at(block::flagsOffset)) & block::lastFlag) != 0;
    m_halfWritten = !verdict.completed;
    m_open = !verdict.completed;
    m_completedImages += verdict.completed ? 1 : 0;
    return verdict;
}

FlashComparison compareFlash(const QByteArray &flash, const QByteArray &image)
{
    const int blocks = (image.size() + block::dataSize - 1) / block::dataSize;
    const char padding = image.size() < block::dataSize ? '\0' : char(block::lastPadding);
    const QByteArray expected =
        image + QByteArray(blocks * block::dataSize - image.size(), padding);
    if (flash == expected)
        return {true, QStringLiteral("equal, %1 bytes").arg(image.size())};
    const auto places = std::mismatch(flash.begin(), flash.end(), expected.begin(), expected.end());
    if (places.first == flash.end() || places.second == expected.end())
        return {false, QStringLiteral("flash holds %1 bytes, must be %2")
                           .arg(flash.size())
                           .arg(expected.size())};
    return {false, QStringLiteral("byte %1 is %2, must be %3")
                       .arg(places.first - flash.begin())
                       .arg(hexByte(quint8(*places.first)), hexByte(quint8(*places.second)))};
}
