// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/ProductRecord.h"

#include <QByteArray>
#include <QMap>
#include <QPair>
#include <QVector>

#include <optional>

namespace devicecheck {

/** The address of a chip. */
struct Chip
{
    quint8 type = 0;
    quint8 index = 0;

    bool operator==(const Chip &other) const { return type == other.type && index == other.index; }
    bool operator<(const Chip &other) const
    {
        return qMakePair(type, index) < qMakePair(other.type, other.index);
    }
};

/** What the checks know of a device before they begin: from the user, and from its own answers. */
struct Facts
{
    /** The main MCU first. */
    QVector<Chip> chips;
    /** The auxiliary chips that the main MCU's record names. */
    QVector<protocol::AuxChip> kinds;
    QByteArray model;
    /** The data of the answers to F900, F901 and F902, by chip. */
    QMap<Chip, QByteArray> bootcode;
    QMap<Chip, QByteArray> records;
    QMap<Chip, QByteArray> versions;
    std::optional<quint8> virtualVersion;

    /** The chip that is written, and with what. */
    Chip target;
    QByteArray image;
    /** The version numbers of the image, when they are known. */
    QByteArray imageVersion;

    Chip mainMcu() const { return chips.isEmpty() ? Chip() : chips.first(); }
};

} // namespace devicecheck
