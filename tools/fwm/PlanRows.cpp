// SPDX-License-Identifier: Apache-2.0
#include "fwm/PlanRows.h"

#include "bytes/FileSource.h"
#include "device-description/DeviceDescription.h"
#include "planning/TypeAndIndexTable.h"

#include <algorithm>
#include <limits>

namespace field = package::field;
using bytes::FileSource;
using package::PackageDescription;
using planning::PlannedChip;
using planning::PlannedRequest;
using planning::TypeAndIndexTable;

namespace {

/** Far more than any list of rows or any device file has. */
constexpr qint64 mostBytes = 1024LL * 1024;

PlanRows failed(ProblemId failure, const QString &detail)
{
    PlanRows rows;
    rows.problem = Problem{failure, detail};
    return rows;
}

/** The content of a file, or an error. */
struct Content
{
    QByteArray bytes;
    std::optional<Problem> problem;
};

Content contentOf(const QString &path)
{
    FileSource source(path);
    if (!source.open())
        return {
            {},
            Problem{ProblemId::FileUnreadable, path + QLatin1String(": ") + source.errorString()}};
    if (source.size() > mostBytes)
        return {{},
                Problem{ProblemId::InputTooLong,
                        QStringLiteral("%1: %2 bytes").arg(path).arg(source.size())}};
    return {source.read(0, mostBytes), std::nullopt};
}

/** The error of a row; empty for a valid one. */
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

QString decimal(int number)
{
    return QString::number(number);
}

QStringList versionOf(const ChipVersion &version)
{
    return version.text().split(QLatin1Char('.'));
}

PlannedChip chipOf(const ChipDescription &chip)
{
    PlannedChip planned;
    planned.mcuType = decimal(chip.mcuType);
    planned.pcbVersion = decimal(chip.pcbVersion);
    planned.speciality = decimal(chip.speciality);
    planned.version = versionOf(chip.version);
    planned.runsBootcode = chip.bootcode;
    planned.recordIsValid = chip.productInformation;
    if (chip.upgradesTo)
        planned.versionAfterImage = versionOf(*chip.upgradesTo);
    return planned;
}

/** The chip of a row of a file, which has all its values. */
PlannedChip chipOf(const QStringList &fields)
{
    PlannedChip planned;
    planned.mcuType = fields.at(field::mcuType);
    planned.pcbVersion = fields.at(field::pcbVersion);
    planned.speciality = fields.at(field::speciality);
    planned.version = fields.mid(field::ver1);
    return planned;
}

/** The row as a client sends it: a name must not look like further fields. */
QString rowOf(const PackageRow &row, Numbering numbering)
{
    // The rows that the agent makes have the names unchanged.
    const QString name = numbering == Numbering::Quantity
                             ? row.name
                             : QString(row.name).replace(QLatin1Char(','), QLatin1Char('_'));
    return QStringLiteral("%1,%2,%3").arg(name, decimal(row.chipType), decimal(row.chipIndex));
}

/** The chip that answers to a row; -1 for none. */
int findChip(const QVector<ChipDescription> &chips, const TypeAndIndexTable &rows, int line)
{
    const auto isMeant = [&](const ChipDescription &chip) {
        return chip.chipType == quint8(rows.number(line, field::chipType)) &&
               chip.chipIndex == quint8(rows.number(line, field::chipIndex));
    };
    const auto found = std::find_if(chips.begin(), chips.end(), isMeant);
    return found == chips.end() ? -1 : int(found - chips.begin());
}

} // namespace

PlanRows rowsFromFile(const QString &path)
{
    const Content content = contentOf(path);
    if (content.problem)
        return failed(content.problem->id, content.problem->detail);
    PlanRows plan;
    const QStringList lines = QString::fromUtf8(content.bytes).split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QStringList fields = fieldsOf(line);
        const QString problem = rowProblem(fields);
        if (!problem.isEmpty())
            return failed(ProblemId::RowsUnreadable,
                          QStringLiteral("%1, line %2: %3").arg(path).arg(i + 1).arg(problem));
        plan.request.rows.append(QStringList(fields.mid(0, field::mcuType)).join(QLatin1Char(',')));
        plan.request.chipOfRow.append(plan.request.chips.size());
        plan.request.chips.append(chipOf(fields));
    }
    return plan;
}

PlannedRequest requestFor(const DeviceDescription &device, const QStringList &rows)
{
    PlannedRequest request;
    request.model = device.model;
    request.rows = rows;
    const TypeAndIndexTable table(rows);
    for (int line = 0; line < table.count(); ++line)
        request.chipOfRow.append(findChip(device.chips, table, line));
    for (const ChipDescription &chip : device.chips)
        request.chips.append(chipOf(chip));
    return request;
}

PlanRows rowsForDevice(const QString &path, const PackageDescription &package, Numbering numbering)
{
    const Content content = contentOf(path);
    if (content.problem)
        return failed(content.problem->id, content.problem->detail);
    QString error;
    const auto device = DeviceDescription::fromJson(content.bytes, &error);
    if (!device)
        return failed(ProblemId::DeviceUnreadable, path + QLatin1String(": ") + error);
    QStringList rows;
    const QVector<PackageRow> wanted = rowsOf(package, numbering);
    for (const PackageRow &row : wanted)
        rows.append(rowOf(row, numbering));
    PlanRows plan;
    plan.request = requestFor(*device, rows);
    for (int i = 0; i < device->chips.size(); ++i) {
        const ChipDescription &chip = device->chips.at(i);
        if (!plan.request.chipOfRow.contains(i))
            plan.notAskedFor +=
                QStringLiteral("%1 (type %2, index %3)")
                    .arg(chip.name, decimal(chip.chipType), decimal(chip.chipIndex));
    }
    return plan;
}
