// SPDX-License-Identifier: Apache-2.0
#include "planning/ProductReport.h"

#include "planning/TypeAndIndexTable.h"

namespace field = package::field;
using protocol::AuxChip;
using protocol::ProductRecord;

namespace planning {

namespace {

QString line(const char *label, const QString &value)
{
    return QLatin1String(label) + value + QLatin1String("\r\n");
}

QString twoDigits(const QString &value)
{
    return value.isEmpty() ? value : value.rightJustified(2, QLatin1Char('0'));
}

QString character(const QString &code)
{
    return code.isEmpty() ? code : QString(QChar::fromLatin1(char(code.toInt())));
}

} // namespace

QStringList productReport::recordLines(const ProductRecord &record)
{
    if (!record.model)
        return {};
    QStringList lines{line("Model Name:", QString::fromUtf8(*record.model))};
    for (const AuxChip &aux : record.auxChips) {
        lines << line("AUX MCU ChipType:", QString::number(aux.chipType))
              << line("AUX MCU ChipQuanity:", QString::number(aux.quantity))
              << line("AUX MCU Name:", QString::fromUtf8(aux.name));
    }
    return lines;
}

QStringList productReport::auxRows(const ProductRecord &record)
{
    QStringList rows;
    for (const AuxChip &aux : record.auxChips) {
        for (int index = 0; index < aux.quantity; ++index) {
            rows.append(QStringLiteral("%1,%2,%3")
                            .arg(QString::fromUtf8(aux.name), QString::number(aux.chipType),
                                 QString::number(index)) +
                        QLatin1String(field::nothingKnown));
        }
    }
    return rows;
}

QString productReport::rowText(const QStringList &fields)
{
    return line("Name:", fields.value(field::name)) +
           line("Chip Type:", fields.value(field::chipType)) +
           line("Chip Index:", fields.value(field::chipIndex)) +
           line("MCU Model:", fields.value(field::mcuType)) +
           line("PCB Version:", twoDigits(fields.value(field::pcbVersion))) +
           line("Speciality:", character(fields.value(field::speciality))) +
           line("Ver1:", fields.value(field::ver1)) +
           line("Ver2:", twoDigits(fields.value(field::ver2))) +
           line("Ver3:", twoDigits(fields.value(field::ver3))) +
           line("BootCodeFlag:", fields.value(field::bootcodeFlag)) +
           line("ProductInfoFlag:", fields.value(field::productInfoFlag));
}

} // namespace planning
