// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"

/** A chip of a test device; tests use its name, address and version. */
inline ChipDescription testChip(const char *name, int type, int index, const char *version,
                                int mcuType = 1)
{
    ChipDescription chip;
    chip.name = QString::fromLatin1(name);
    chip.chipType = quint8(type);
    chip.chipIndex = quint8(index);
    chip.mcuType = quint8(mcuType);
    chip.version = *ChipVersion::parse(QString::fromLatin1(version));
    return chip;
}

/** The image for such a chip, one block long. */
inline TestImage testImage(const char *name, int type, QVector<int> version, int mcuType = 1,
                           int size = 256)
{
    TestImage image;
    image.name = QString::fromLatin1(name);
    image.chipType = type;
    image.mcuType = mcuType;
    image.version = std::move(version);
    image.bytes = patternImage(size, type + mcuType);
    return image;
}

/** Two MCUs, and an image for each that is newer. */
inline const QStringList bothRows{"MAIN,0,0", "AUX,1,0"};
inline const QVector<ChipDescription> bothChips{testChip("MAIN", 0, 0, "1.0.0"),
                                                testChip("AUX", 1, 0, "1.0.0", 2)};
inline const QVector<TestImage> bothImages{testImage("MAIN", 0, {1, 1, 0}, 1, 700),
                                           testImage("AUX", 1, {1, 0, 1}, 2, 300)};

/** A harness for any device and package. */
struct Scenario : EngineHarness
{
    Scenario(const QVector<ChipDescription> &chips = bothChips,
             const QVector<TestImage> &images = bothImages, const QString &release = "1.0.12",
             const std::optional<platform::TimeOuts> &timeOuts = std::nullopt)
        : EngineHarness(deviceOf(chips), std::nullopt, timeOuts)
    {
        setPackage(makePackage(images, QString("HX-8"), release));
    }

    static DeviceDescription deviceOf(const QVector<ChipDescription> &chips)
    {
        DeviceDescription description = twoMcus();
        description.chips = chips;
        return description;
    }
};
