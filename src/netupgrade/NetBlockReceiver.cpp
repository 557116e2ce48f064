// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetBlockReceiver.h"

#include "protocol/BlockPayload.h"
#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Statuses.h"

#include <utility>

namespace block = protocol::block;
namespace chip = protocol::chip;
namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace status = protocol::status;
using protocol::AssemblerRules;
using protocol::FrameAssembler;

namespace netupgrade {

namespace {

constexpr int maxLength = 0xFFFF;
constexpr quint8 moduleIndex = 0;
/** Including the checksum, the frame's last byte. */
constexpr int smallestWrite = mcu::payloadOffset + block::dataOffset + 1;

AssemblerRules rules()
{
    AssemblerRules rules;
    // Some senders use the start byte of the other direction.
    rules.startBytes.append(char(mcu::hostStart)).append(char(mcu::replyStart));
    rules.maxLength = maxLength;
    rules.badSum = AssemblerRules::BadSum::Restart;
    return rules;
}

NetBlockAction answer(quint16 word, quint8 status)
{
    NetBlockAction action;
    action.word = word;
    action.status = status;
    return action;
}

NetBlockAction refuse(quint16 word, const QString &line)
{
    NetBlockAction action = answer(word, status::refused);
    action.line = line;
    return action;
}

NetBlockAction store(NetBlockAction::Kind kind, const QByteArray &data)
{
    NetBlockAction action;
    action.kind = kind;
    action.word = command::writeBlock;
    action.data = data;
    return action;
}

QByteArray payloadOf(const QByteArray &frame)
{
    return frame.mid(mcu::payloadOffset, frame.size() - mcu::payloadOffset - 1);
}

} // namespace

QByteArray netBlockReply(quint16 word, quint8 status)
{
    return mcu::buildStatusFrame(mcu::moduleReplyStart, {}, word, status);
}

NetBlockReceiver::NetBlockReceiver(std::function<bool()> busy, BlocksGate::Refusal refusal)
    : m_busy(std::move(busy)), m_gate(std::move(refusal)), m_assembler(rules())
{
}

std::optional<NetBlockAction> NetBlockReceiver::feed(quint8 byte)
{
    if (!m_listening)
        return {};
    switch (m_assembler.feed(byte)) {
    case FrameAssembler::Result::NeedMore:
        break;
    case FrameAssembler::Result::BadSum:
        return answer(mcu::wordAt(m_assembler.frame(), mcu::wordOffset), status::checksumError);
    case FrameAssembler::Result::Complete:
        m_listening = false;
        return take(m_assembler.frame());
    }
    return {};
}

void NetBlockReceiver::stored()
{
    m_lastStored = m_lastWrite;
}

std::optional<NetBlockAction> NetBlockReceiver::take(const QByteArray &frame)
{
    switch (mcu::wordAt(frame, mcu::wordOffset)) {
    case command::enterUpdateMode:
        return enter(frame);
    case command::writeBlock:
        return write(frame);
    default:
        return {};
    }
}

NetBlockAction NetBlockReceiver::enter(const QByteArray &frame)
{
    const QByteArray payload = payloadOf(frame);
    const bool forModule = payload.size() == 2 && payload.at(0) == char(chip::networkModule) &&
                           payload.at(1) == char(moduleIndex);
    const BlocksGate::Decision gate = m_gate.enter();
    if (gate.isRefused || !forModule || m_busy())
        return refuse(command::enterUpdateMode, gate.line);
    m_lastStored.clear();
    return answer(command::enterUpdateMode, status::done);
}

std::optional<NetBlockAction> NetBlockReceiver::write(const QByteArray &frame)
{
    const bool isBusy = m_busy();
    if (isBusy && frame == m_lastBlock)
        return {};
    const QByteArray numbered = payloadOf(frame).mid(block::numberOffset);
    const BlocksGate::Decision gate =
        m_gate.block(m_image.isFirst(numbered), m_image.isLast(numbered));
    if (gate.isRefused)
        return refuse(command::writeBlock, gate.line);
    return isBusy ? answer(command::writeBlock, status::refused) : accept(frame);
}

std::optional<NetBlockAction> NetBlockReceiver::accept(const QByteArray &frame)
{
    if (frame.size() < smallestWrite)
        return answer(command::writeBlock, status::refused);
    if (frame == m_lastStored)
        return answer(command::writeBlock, status::done);

    m_lastWrite = frame;
    const auto piece = m_image.take(payloadOf(frame).mid(block::numberOffset));
    if (!piece)
        return answer(command::writeBlock, status::refused);
    if (!piece->isLast)
        return store(piece->isFirst ? NetBlockAction::Kind::Create : NetBlockAction::Kind::Append,
                     piece->bytes);
    m_lastStored.clear();
    m_lastBlock = frame;
    NetBlockAction last = store(NetBlockAction::Kind::Finish, piece->bytes);
    last.header = m_image.head();
    return last;
}

} // namespace netupgrade
