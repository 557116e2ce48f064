// SPDX-License-Identifier: Apache-2.0
#include "fwm/PlanRows.h"

#include "device-simulator/DeviceDescription.h"
#include "files/FileSource.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/ChipTypes.h"

namespace {

/** Far more than any list of rows or any device file has. */
constexpr qint64 mostBytes = 1024LL * 1024;
constexpr int fieldsOfARow = field::ver3 + 1;

PlanRows failed(Failure failure, const QString &detail)
{
    PlanRows rows;
    rows.problem = Problem{failure, detail};
    return rows;
}

std::optional<QByteArray> contentOf(const QString &path)
{
    FileSource source(path);
    if (!source.open())
        return std::nullopt;
    return source.read(0, mostBytes);
}

/** An FPGA has nothing but its version to be told apart by. An MCU that runs its bootcode before
 *  all others are read has not told its version yet. */
QStringList rowOf(const ChipDescription &chip)
{
    const auto decimal = [](int number) { return QString::number(number); };
    QStringList row{chip.name, decimal(chip.chipType), decimal(chip.chipIndex)};
    if (chip::isFpga(chip.chipType))
        row << QString() << QString() << QString();
    else
        row << decimal(chip.mcuType) << decimal(chip.pcbVersion) << decimal(chip.speciality);
    const bool isMain = chip.chipType == chip::mainMcu && chip.chipIndex == 0;
    if (isMain && chip.bootcode)
        return row << QString() << QString() << QString();
    return row << decimal(chip.version.first) << decimal(chip.version.second)
               << (chip.version.hasThird ? decimal(chip.version.third) : QString());
}

} // namespace

PlanRows rowsFromFile(const QString &path)
{
    const std::optional<QByteArray> content = contentOf(path);
    if (!content)
        return failed(Failure::CannotRead, path);
    PlanRows plan;
    const QStringList lines = QString::fromUtf8(*content).split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QStringList fields = line.split(QLatin1Char(','));
        if (fields.size() < fieldsOfARow) {
            return failed(Failure::RowsUnreadable,
                          QStringLiteral("%1, line %2: %3 fields instead of %4")
                              .arg(path, QString::number(i + 1), QString::number(fields.size()),
                                   QString::number(fieldsOfARow)));
        }
        plan.rows.append(fields);
    }
    return plan;
}

PlanRows rowsFromDevice(const QString &path)
{
    const std::optional<QByteArray> content = contentOf(path);
    if (!content)
        return failed(Failure::CannotRead, path);
    QString error;
    const auto device = DeviceDescription::fromJson(*content, &error);
    if (!device)
        return failed(Failure::DeviceUnreadable, path + QLatin1String(": ") + error);
    PlanRows plan;
    plan.model = QString::fromUtf8(device->model);
    for (const ChipDescription &chip : device->chips) {
        plan.rows.append(rowOf(chip));
        if (chip.chipType == chip::mainMcu && chip.chipIndex == 0 && !chip.productInformation) {
            plan.obstacle = QStringLiteral("The main MCU's product information is invalid: "
                                           "the run stops before anything is sent.");
        }
    }
    return plan;
}
