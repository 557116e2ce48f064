// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/HostCommand.h"

#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

namespace block = protocol::block;
namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace {

bool namesChip(quint16 word)
{
    switch (word) {
    case command::enterUpdateMode:
    case command::writeBlock:
    case command::writeProductInformation:
    case command::readBootcode:
    case command::readProductInformation:
    case command::readVersion:
        return true;
    default:
        return false;
    }
}

} // namespace

FaultTarget HostCommand::target() const
{
    FaultTarget target;
    target.word = word();
    const QByteArray data = payload();
    if (isExtended())
        return target;
    if (namesChip(word()) && data.size() > block::indexOffset) {
        target.chipType = quint8(data.at(block::typeOffset));
        target.chipIndex = quint8(data.at(block::indexOffset));
    }
    if (word() == command::writeBlock && data.size() >= block::dataOffset)
        target.block = mcu::wordAt(data, block::numberOffset);
    return target;
}
