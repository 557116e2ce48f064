// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/FlashFiles.h"

#include <QDir>
#include <QSaveFile>

namespace {

QString fileNameOf(const ChipDescription &chip)
{
    QString name = chip.name;
    for (QChar &letter : name) {
        if (!letter.isLetterOrNumber())
            letter = QLatin1Char('_');
    }
    return QStringLiteral("%1-%2-%3.bin").arg(name).arg(chip.chipType).arg(chip.chipIndex);
}

} // namespace

QString saveFlash(const SimulatedDevice &device, const QString &directory)
{
    const QDir folder(directory);
    if (!folder.mkpath(QStringLiteral(".")))
        return QStringLiteral("%1: cannot be made").arg(directory);
    for (const SimulatedDevice::Chip &chip : device.chips()) {
        if (chip.flash.bytes().isEmpty())
            continue;
        QSaveFile file(folder.filePath(fileNameOf(chip.now)));
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(chip.flash.bytes()) != chip.flash.bytes().size() || !file.commit())
            return QStringLiteral("%1: %2").arg(file.fileName(), file.errorString());
    }
    return {};
}
