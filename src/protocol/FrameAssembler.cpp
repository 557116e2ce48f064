// SPDX-License-Identifier: Apache-2.0
#include "protocol/FrameAssembler.h"

#include <utility>

namespace protocol {

namespace {

constexpr int hunting = -1;
constexpr int lastHeaderByte = mcu::lengthOffset + 1;

} // namespace

FrameAssembler::FrameAssembler(AssemblerRules rules) : m_rules(std::move(rules))
{
    m_frame.reserve(mcu::payloadOffset + 1);
}

void FrameAssembler::reset()
{
    m_state = hunting;
}

FrameAssembler::Result FrameAssembler::feed(quint8 byte)
{
    if (m_state == hunting) {
        if (m_rules.startBytes.contains(char(byte))) {
            m_frame.resize(0);
            m_length = 0;
            return store(byte);
        }
        return Result::NeedMore;
    }
    if (m_state < lastHeaderByte && !headerByteFits(byte)) {
        reset();
        return Result::NeedMore;
    }
    return store(byte);
}

/** A byte that does not fit the header is not tried as a start byte: the sender repeats the frame,
 *  and all receivers of the protocol behave this way. */
bool FrameAssembler::headerByteFits(quint8 byte) const
{
    switch (m_state + 1) {
    case 1:
        return byte == m_rules.address.first;
    case 2:
        return byte == m_rules.address.second;
    case lastHeaderByte: {
        const int length = quint8(m_frame.at(mcu::lengthOffset)) + 256 * byte;
        return length >= mcu::emptyLength && length <= m_rules.maxLength;
    }
    default:
        return true;
    }
}

FrameAssembler::Result FrameAssembler::store(quint8 byte)
{
    ++m_state;
    m_frame.append(char(byte));
    if (m_state == lastHeaderByte)
        m_length = mcu::wordAt(m_frame, mcu::lengthOffset);
    if (m_state < lastHeaderByte || m_state < m_length + mcu::uncounted - 1)
        return Result::NeedMore;
    return finish();
}

FrameAssembler::Result FrameAssembler::finish()
{
    if (mcu::byteSum(m_frame) == 0) {
        reset();
        return Result::Complete;
    }
    if (m_rules.badSum == AssemblerRules::BadSum::Restart) {
        reset();
        return Result::BadSum;
    }
    m_frame.chop(1);
    --m_state;
    return Result::BadSum;
}

} // namespace protocol
