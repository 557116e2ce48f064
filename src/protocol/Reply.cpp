// SPDX-License-Identifier: Apache-2.0
#include "protocol/Reply.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

#include <utility>

namespace protocol {

Reply::Reply(QByteArray frame) : m_frame(std::move(frame)) {}

bool Reply::isExtended() const
{
    return has(mcu::extendedWordOffset + 1) &&
           mcu::wordAt(m_frame, mcu::wordOffset) == command::escape;
}

quint16 Reply::word() const
{
    return mcu::wordAt(m_frame, isExtended() ? mcu::extendedWordOffset : mcu::wordOffset);
}

int Reply::length() const
{
    return m_frame.size() - mcu::uncounted;
}

bool Reply::has(int offset) const
{
    return offset >= 0 && offset < m_frame.size() - 1;
}

quint8 Reply::at(int offset) const
{
    return has(offset) ? quint8(m_frame.at(offset)) : quint8{0};
}

QByteArray Reply::payload() const
{
    return m_frame.mid(mcu::payloadOffset, m_frame.size() - mcu::payloadOffset - 1);
}

} // namespace protocol
