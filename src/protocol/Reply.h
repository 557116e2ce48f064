// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

namespace protocol {

/**
 * A complete, checked frame seen as a reply. Offsets are those of the frame, so that byte 11 is the
 * first result byte of every reply that echoes chip type and index. A byte beyond the end of the
 * frame reads as 0; has() checks for it.
 */
class Reply
{
public:
    explicit Reply(QByteArray frame);

    /** True when the command word is FF FF. */
    bool isExtended() const;
    /** The command word that this frame answers. */
    quint16 word() const;
    /** The value of the length field: payload + 5. */
    int length() const;
    /** True when `offset` lies before the checksum. */
    bool has(int offset) const;
    quint8 at(int offset) const;
    /** The payload from frame byte 9 on, without the checksum. */
    QByteArray payload() const;

private:
    QByteArray m_frame;
};

} // namespace protocol
