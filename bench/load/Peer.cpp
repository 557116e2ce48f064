// SPDX-License-Identifier: Apache-2.0
#include "load/Peer.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace {

constexpr char startOfLongBlock = 0x02;
constexpr char endOfTransmission = 0x04;
constexpr char acknowledge = 0x06;
constexpr char wantsCrc = 'C';
/** Start, number, its complement, 1 KiB, CRC-16. */
constexpr int longBlockSize = 3 + 1024 + 2;

bool acknowledgesBlock(const QByteArray &answer)
{
    return answer.size() == mcu::extendedLength + mcu::uncounted &&
           mcu::wordAt(answer, mcu::wordOffset) == command::escape &&
           mcu::wordAt(answer, mcu::extendedWordOffset) == command::writeBlock &&
           answer.at(mcu::resultOffset) == 0;
}

} // namespace

DevicePeer::DevicePeer(const DeviceDescription &description) : m_device(description) {}

std::vector<PeerAnswer> DevicePeer::take(const QByteArray &bytes)
{
    std::vector<PeerAnswer> answers;
    const QVector<DeviceAnswer> received = m_device.receive(bytes);
    for (const DeviceAnswer &answer : received)
        answers.push_back({answer.bytes, answer.delay, acknowledgesBlock(answer.bytes)});
    return answers;
}

QByteArray XmodemPeer::greeting() const
{
    return {1, wantsCrc};
}

std::vector<PeerAnswer> XmodemPeer::take(const QByteArray &bytes)
{
    m_input += bytes;
    const PeerAnswer yes{QByteArray(1, acknowledge), {}, m_input.at(0) == startOfLongBlock};
    if (m_input.at(0) == endOfTransmission) {
        m_input.clear();
        return {yes};
    }
    if (m_input.size() < longBlockSize)
        return {};
    m_offended |= !yes.acknowledgesBlock || m_input.size() != longBlockSize ||
                  quint8(m_input.at(1)) != m_number;
    ++m_number;
    m_input.clear();
    return {yes};
}
