// SPDX-License-Identifier: Apache-2.0
#include "fwm/Commands.h"
#include "fwm/OpenPackage.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>

namespace chip = protocol::chip;
namespace description = package::description;
using package::ImageEntry;
using package::RecordKey;

namespace {

QJsonObject entryJson(const ImageEntry &entry, const QString &line)
{
    const RecordKey record = keyOfEntry(entry);
    return {{QStringLiteral("entry"), line},
            {QStringLiteral("name"), description::text(entry.pcb, package::key::name)},
            {QStringLiteral("chip"), description::text(entry.chip, package::key::name)},
            {QStringLiteral("chip_type"),
             chip::fromDescription(description::number(entry.chip, package::key::chipType))},
            {QStringLiteral("chip_quantity"), record.chipQuantity},
            {QStringLiteral("mcu_type"), record.mcuType},
            {QStringLiteral("pcb_version"), record.pcbVersion},
            {QStringLiteral("speciality"), record.speciality},
            {QStringLiteral("version"), versionText(record)}};
}

} // namespace

CommandOutcome runList(const Options &options)
{
    const OpenPackage package = openPackage(options.file, Depth::Head, options);
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    const PackageContents &contents = package.contents;
    if (const std::optional<Problem> problem = headProblem(contents))
        return CommandOutcome::failed(problem->id, options.file);

    CommandOutcome outcome;
    QJsonArray list;
    for (int index = 0; index < contents.entries.size(); ++index) {
        const QString &line = contents.description.firmwareList.at(index);
        list.append(entryJson(contents.entries.at(index), line));
        outcome.text += printable(line) + QLatin1Char('\n');
    }
    outcome.json = {{QStringLiteral("file"), options.file},
                    {QStringLiteral("model"), contents.description.model},
                    {QStringLiteral("release"), contents.description.version},
                    {QStringLiteral("list"), list}};
    return outcome;
}
