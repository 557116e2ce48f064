// SPDX-License-Identifier: Apache-2.0
#include "fwm/PlanRows.h"

#include "bytes/FileSource.h"
#include "device-simulator/DeviceDescription.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/ChipTypes.h"

#include <limits>

namespace {

/** Far more than any list of rows or any device file has. */
constexpr qint64 mostBytes = 1024LL * 1024;

PlanRows failed(Failure failure, const QString &detail)
{
    PlanRows rows;
    rows.problem = Problem{failure, detail};
    return rows;
}

/** A whole file, or why there is none. */
struct Content
{
    QByteArray bytes;
    std::optional<Problem> problem;
};

Content contentOf(const QString &path)
{
    FileSource source(path);
    if (!source.open())
        return {{},
                Problem{Failure::CannotRead, path + QLatin1String(": ") + source.errorString()}};
    if (source.size() > mostBytes)
        return {{},
                Problem{Failure::InputTooLong,
                        QStringLiteral("%1: %2 bytes").arg(path).arg(source.size())}};
    return {source.read(0, mostBytes), std::nullopt};
}

/** What is wrong with a row; empty for a good one. */
QString rowProblem(const QStringList &fields)
{
    if (fields.size() != field::countWithVersions)
        return QStringLiteral("%1 fields instead of %2")
            .arg(fields.size())
            .arg(field::countWithVersions);
    for (int index = field::chipType; index < field::countWithVersions; ++index) {
        const QString &text = fields.at(index);
        // FPGAs and chips in their bootcode do not have all of the other numbers.
        const bool mayBeEmpty = index > field::chipIndex;
        if (text.isEmpty() && mayBeEmpty)
            continue;
        bool isNumber = false;
        const uint number = text.toUInt(&isNumber);
        if (!isNumber || number > std::numeric_limits<quint8>::max())
            return QStringLiteral("field %1 is '%2'").arg(index + 1).arg(text);
    }
    return {};
}

QStringList fieldsOf(const QString &line)
{
    QStringList fields = line.split(QLatin1Char(','));
    for (QString &text : fields)
        text = text.trimmed();
    return fields;
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
    const Content content = contentOf(path);
    if (content.problem)
        return failed(content.problem->failure, content.problem->detail);
    PlanRows plan;
    const QStringList lines = QString::fromUtf8(content.bytes).split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QStringList fields = fieldsOf(line);
        const QString problem = rowProblem(fields);
        if (!problem.isEmpty())
            return failed(Failure::RowsUnreadable,
                          QStringLiteral("%1, line %2: %3").arg(path).arg(i + 1).arg(problem));
        plan.rows.append(fields);
    }
    return plan;
}

PlanRows rowsFromDevice(const QString &path)
{
    const Content content = contentOf(path);
    if (content.problem)
        return failed(content.problem->failure, content.problem->detail);
    QString error;
    const auto device = DeviceDescription::fromJson(content.bytes, &error);
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
