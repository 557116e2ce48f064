// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetImageAssembler.h"

#include "protocol/BlockPayload.h"
#include "protocol/McuFrame.h"

namespace block = protocol::block;
namespace mcu = protocol::mcu;
namespace net = package::net;
using package::parseNetImage;

namespace netupgrade {

namespace {

constexpr int numberAt = 0;
constexpr int flagsAt = block::flagsOffset - block::numberOffset;
constexpr int dataAt = block::dataOffset - block::numberOffset;

/** An archive may end in the padding byte; the two cannot be distinguished. */
QByteArray withoutPadding(const QByteArray &data)
{
    int size = data.size();
    while (size > 0 && data.at(size - 1) == char(block::lastPadding))
        --size;
    return data.left(size);
}

} // namespace

bool NetImageAssembler::isFirst(const QByteArray &numbered) const
{
    return numbered.size() >= dataAt && mcu::wordAt(numbered, numberAt) == m_rules.firstNumber;
}

bool NetImageAssembler::isLast(const QByteArray &numbered) const
{
    return numbered.size() >= dataAt && quint8(numbered.at(flagsAt)) == block::lastFlag &&
           (m_rules.firstMayBeLast || !isFirst(numbered));
}

std::optional<NetPiece> NetImageAssembler::take(const QByteArray &numbered)
{
    if (numbered.size() < dataAt)
        return {};
    NetPiece piece;
    piece.isFirst = isFirst(numbered);
    piece.isLast = isLast(numbered);
    piece.bytes = numbered.mid(dataAt);
    if (piece.isFirst && piece.bytes.size() < m_rules.smallestFirst)
        return {};
    if (piece.isLast)
        piece.bytes = withoutPadding(piece.bytes);
    if (piece.isFirst) {
        m_head = parseNetImage(piece.bytes);
        piece.bytes.remove(0, net::archiveOffset);
    }
    return piece;
}

} // namespace netupgrade
