// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/ProductRecord.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <chrono>
#include <optional>

/** A firmware version of two or three numbers, each 0..255. */
struct ChipVersion
{
    quint8 first = 0;
    quint8 second = 0;
    quint8 third = 0;
    bool hasThird = true;

    /** Reads "1.2" or "1.2.3". */
    static std::optional<ChipVersion> parse(const QString &text);
    QString text() const;
};

/** One MCU or FPGA of the device. Numbers are those of the frames, so the main MCU is 0, 0. */
struct ChipDescription
{
    QString name;
    quint8 chipType = 0;
    quint8 chipIndex = 0;
    /** The file gives the index; otherwise the device's numbering does. */
    bool hasIndex = false;
    quint8 mcuType = 1;
    quint8 pcbVersion = 1;
    quint8 speciality = 'A';
    ChipVersion version;
    /** The version it runs once an image has been written completely; unchanged when absent. */
    std::optional<ChipVersion> upgradesTo;
    /** Runs its bootcode, not its application. */
    bool bootcode = false;
    /** Answers 0 as its bootcode flag again after an image has been written completely. */
    bool bootcodeClears = true;
    bool productInformation = true;
};

/** Everything that distinguishes one simulated device from another; docs/use/simulator.md has the
 *  file format. */
struct DeviceDescription
{
    using ms = std::chrono::milliseconds;

    QByteArray model;
    QByteArray productId;
    /** 0 when none has been set. */
    quint8 virtualVersion = 0;
    QVector<ChipDescription> chips;
    /** The auxiliary chips that the main MCU's record names. */
    QVector<protocol::AuxChip> auxChips;
    /** Time without answers of the main MCU after its image. */
    ms restartTime{1500};
    /** Time without answers of the whole device after a reboot command. */
    ms rebootTime{3000};
    /** Additional time of the first block of an image, for erasing the flash. */
    ms eraseTime{0};
    /** Additional time of every answer. */
    ms answerTime{0};

    /**
     * Reads a device file. A missing key takes its default; an unknown key, a value of the wrong
     * type or out of range, and a device without chips are errors; `error` names the place.
     */
    static std::optional<DeviceDescription> fromJson(const QByteArray &json, QString *error);
};
