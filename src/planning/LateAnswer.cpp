// SPDX-License-Identifier: Apache-2.0
#include "planning/LateAnswer.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

namespace command = protocol::command;
namespace field = package::field;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace planning {

namespace {

constexpr int typeOffset = mcu::payloadOffset;
constexpr int indexOffset = mcu::payloadOffset + 1;

bool echoesItsChip(quint16 word)
{
    return word == command::readBootcode || word == command::readProductInformation ||
           word == command::readVersion || word == command::writeProductInformation;
}

/** Whether the reply echoes the bytes of a command for this row: the low bytes of its numbers. */
bool echoes(const Reply &reply, const TypeAndIndexTable &rows, int line)
{
    return reply.at(typeOffset) == quint8(rows.number(line, field::chipType)) &&
           reply.at(indexOffset) == quint8(rows.number(line, field::chipIndex));
}

} // namespace

int rowOfLateAnswer(const Reply &reply, const TypeAndIndexTable &rows, int current)
{
    constexpr int countsForCurrent = -1;
    if (reply.isExtended() || !echoesItsChip(reply.word()) || !reply.has(indexOffset) ||
        echoes(reply, rows, current))
        return countsForCurrent;
    for (int line = 0; line < rows.count(); ++line) {
        if (echoes(reply, rows, line))
            return line;
    }
    return countsForCurrent;
}

} // namespace planning
