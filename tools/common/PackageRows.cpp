// SPDX-License-Identifier: Apache-2.0
#include "common/PackageRows.h"

#include "package/DescriptionKeys.h"
#include "planning/TypeAndIndexTable.h"

#include <algorithm>

namespace description = package::description;
namespace field = package::field;
using package::imageEntries;
using package::ImageEntry;
using package::PackageDescription;

namespace {

/** The sums of the entries of one chip type. */
struct ChipKind
{
    QString name;
    int chipType = 0;
    int quantity = 0;
};

/** The numbers are at the end of an entry; a name may contain commas. */
QStringList fieldsOf(const QString &entry)
{
    const QStringList parts = entry.split(QLatin1Char(','));
    const int names = parts.size() - field::ver3;
    return QStringList(parts.mid(0, names).join(QLatin1Char(','))) + parts.mid(names);
}

PackageRow rowOf(const QStringList &fields)
{
    return {fields.value(field::name), fields.value(field::chipType).toInt(),
            fields.value(field::chipIndex).toInt()};
}

QVector<PackageRow> rowsOfImages(const QStringList &list)
{
    QVector<PackageRow> rows;
    for (const QString &entry : list)
        rows.append(rowOf(fieldsOf(entry)));
    return rows;
}

/** The chip types in the order of their first entries. */
QVector<ChipKind> kindsOf(const PackageDescription &package)
{
    const QVector<ImageEntry> entries = imageEntries(package.object);
    QVector<ChipKind> kinds;
    for (int i = 0; i < entries.size(); ++i) {
        const PackageRow image = rowOf(fieldsOf(package.firmwareList.value(i)));
        auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const ChipKind &one) {
            return one.chipType == image.chipType;
        });
        if (kind == kinds.end()) {
            kinds.append({image.name, image.chipType, image.chipIndex});
            continue;
        }
        // Images for several boards: the name of the chip fits all of them.
        const QString chipName = description::text(entries.at(i).chip, package::key::name);
        if (kind->name != image.name && !chipName.isEmpty())
            kind->name = chipName;
        kind->quantity = std::max(kind->quantity, image.chipIndex);
    }
    return kinds;
}

} // namespace

QVector<PackageRow> rowsOf(const PackageDescription &package, Numbering numbering)
{
    if (numbering == Numbering::Quantity)
        return rowsOfImages(package.firmwareList);
    QVector<PackageRow> rows;
    for (const ChipKind &kind : kindsOf(package)) {
        for (int index = 0; index < kind.quantity; ++index) {
            const QString name =
                kind.quantity == 1 ? kind.name : QStringLiteral("%1[%2]").arg(kind.name).arg(index);
            rows.append({name, kind.chipType, index});
        }
    }
    return rows;
}
