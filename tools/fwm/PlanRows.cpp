// SPDX-License-Identifier: Apache-2.0
#include "fwm/PlanRows.h"

#include "bytes/FileSource.h"
#include "device-description/DeviceDescription.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/ChipTypes.h"

#include <algorithm>
#include <limits>

namespace chip = protocol::chip;
namespace field = package::field;
using bytes::FileSource;

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

bool isMainMcu(const ChipDescription &chip)
{
    return chip.chipType == chip::mainMcu && chip.chipIndex == 0;
}

QStringList unknownRow(const PackageRow &row)
{
    QStringList fields{row.name, QString::number(row.chipType), QString::number(row.chipIndex)};
    while (fields.size() < field::countWithVersions)
        fields += QString();
    return fields;
}

/** An FPGA has nothing but its version to be told apart by. An MCU that runs its bootcode before
 *  all others are read has not told its version yet. */
QStringList rowOf(const QString &name, const ChipDescription &chip)
{
    const auto decimal = [](int number) { return QString::number(number); };
    QStringList row{name, decimal(chip.chipType), decimal(chip.chipIndex)};
    if (chip::isFpga(chip.chipType))
        row << QString() << QString() << QString();
    else
        row << decimal(chip.mcuType) << decimal(chip.pcbVersion) << decimal(chip.speciality);
    if (isMainMcu(chip) && chip.bootcode)
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

PlanRows rowsForDevice(const QString &path, const QVector<PackageRow> &package)
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
    QVector<ChipDescription> unasked = device->chips;
    for (const PackageRow &row : package) {
        const auto isNamed = [&row](const ChipDescription &chip) {
            return chip.chipType == row.chipType && chip.chipIndex == row.chipIndex;
        };
        const auto chip = std::find_if(device->chips.begin(), device->chips.end(), isNamed);
        const bool isKnown = chip != device->chips.end();
        plan.rows.append(isKnown ? rowOf(row.name, *chip) : unknownRow(row));
        // The agent itself installs what is for the network module.
        plan.isMissing.append(!isKnown && row.chipType != chip::networkModule);
        unasked.erase(std::remove_if(unasked.begin(), unasked.end(), isNamed), unasked.end());
        if (isKnown && isMainMcu(*chip) && !chip->productInformation)
            plan.obstacle = QStringLiteral("The main MCU's product information is invalid: "
                                           "the run stops before anything is sent.");
    }
    for (const ChipDescription &chip : qAsConst(unasked))
        plan.notAskedFor += QStringLiteral("%1 (type %2, index %3)")
                                .arg(chip.name)
                                .arg(chip.chipType)
                                .arg(chip.chipIndex);
    return plan;
}
