// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/Fault.h"

#include "protocol/Reply.h"

#include <QByteArray>

/** A checked frame of the host. Its offsets are those of a reply. */
class HostCommand : public protocol::Reply
{
public:
    explicit HostCommand(const QByteArray &frame) : protocol::Reply(frame), m_frame(frame) {}

    const QByteArray &frame() const { return m_frame; }

    /** For the comparison with faults: the word and, if it contains them, chip and block. */
    FaultTarget target() const;

private:
    QByteArray m_frame;
};
