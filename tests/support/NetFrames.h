// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QList>

/** Frames of a sender of a NET image, block by block. */
namespace netframes {

inline QByteArray enter(quint8 start = protocol::mcu::hostStart)
{
    return protocol::mcu::buildFrame(start, {}, protocol::command::enterUpdateMode,
                                     QByteArray::fromHex("2000"));
}

/** A write frame with `data` of any length, for chip type 0x20, index 0. */
inline QByteArray write(int number, quint8 flags, const QByteArray &data)
{
    QByteArray payload = QByteArray::fromHex("2000");
    payload.append(char(number & 0xFF)).append(char(number >> 8)).append(char(flags));
    return protocol::mcu::buildFrame(protocol::mcu::hostStart, {}, protocol::command::writeBlock,
                                     payload + data);
}

/** The 62 bytes before the archive. */
inline QByteArray header(const QByteArray &archive)
{
    return "1.23" + QByteArray(1, '\0') +
           QCryptographicHash::hash(archive, QCryptographicHash::Md5).toHex() +
           QByteArray(25, '\0');
}

/** Every write frame of a package that holds `archive`; at least two, the last one padded. */
inline QList<QByteArray> package(const QByteArray &archive)
{
    const QByteArray image = header(archive) + archive;
    QList<QByteArray> frames;
    for (int offset = 0; offset < image.size(); offset += 256) {
        const bool last = offset > 0 && offset + 256 >= image.size();
        frames.append(write(offset / 256, last ? 0x40 : 0,
                            image.mid(offset, 256).leftJustified(256, char(0xFF))));
    }
    return frames;
}

inline const QByteArray enterAccepted = QByteArray::fromHex("ab5ba508000000ffff007900d6");
inline const QByteArray enterRefused = QByteArray::fromHex("ab5ba508000000ffff007903d3");
inline const QByteArray blockAccepted = QByteArray::fromHex("ab5ba508000000ffff017900d5");
inline const QByteArray blockRefused = QByteArray::fromHex("ab5ba508000000ffff017903d2");

} // namespace netframes
