// SPDX-License-Identifier: Apache-2.0
#include "planning/RunPlan.h"

#include "planning/TypeAndIndexTable.h"

namespace field = package::field;
using bytes::ByteSource;
using package::MatchMask;

namespace planning {

namespace {

PlannedRow planRow(const QStringList &fields, const QStringList &firmwareList,
                   const MatchMask &mask, ByteSource &package)
{
    PlannedRow planned;
    planned.fields = fields;
    planned.decision = decideForRow(fields, firmwareList, mask);
    if (planned.decision.verdict != Decision::Verdict::Send)
        return planned;
    const auto number = [&](int index) { return fields.value(index).toInt(); };
    planned.image = findImageRecord(package, mask, number(field::chipType), number(field::mcuType),
                                    number(field::pcbVersion), number(field::speciality));
    if (planned.image && planned.image->length == 0)
        planned.image.reset();
    planned.imageIsMissing = !planned.image;
    return planned;
}

} // namespace

QVector<PlannedRow> planRun(const QVector<QStringList> &rows, const QStringList &firmwareList,
                            const MatchMask &mask, ByteSource &package)
{
    QVector<PlannedRow> plan;
    for (const QStringList &row : rows)
        plan.append(planRow(row, firmwareList, mask, package));
    return plan;
}

} // namespace planning
