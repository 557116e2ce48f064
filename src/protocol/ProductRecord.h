// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QVector>

#include <optional>

namespace protocol {

/** One kind of auxiliary chip that the main MCU's record names. */
struct AuxChip
{
    quint8 chipType = 0;
    quint8 quantity = 0;
    QByteArray name;
};

/**
 * The product-information record of one MCU, written with 0x7903 and read with 0xF901:
 *
 *   0      chip type            4..5   bytes after the first 16, little-endian
 *   1      chip index           6..15  zero
 *   2      PCB version          16     1, model length, model
 *   3      speciality (a character code)
 *   then, when auxiliary chips exist: 3, the number of bytes that follow, and for each of them
 *   chip type, quantity, name length, name
 *
 * Only the main MCU's record has more than 16 bytes.
 */
struct ProductRecord
{
    quint8 chipType = 0;
    quint8 chipIndex = 0;
    quint8 pcbVersion = 0;
    quint8 speciality = 0;
    /** Present in the main MCU's record only. */
    std::optional<QByteArray> model;
    QVector<AuxChip> auxChips;

    QByteArray encode() const;

    /**
     * Reads a record, also in the shorter form without the markers (the model's length at bytes
     * 4..5, the model from byte 6, then the entries). Parts that do not fit are ignored; decoding
     * never fails.
     */
    static ProductRecord decode(const QByteArray &bytes);
};

} // namespace protocol
