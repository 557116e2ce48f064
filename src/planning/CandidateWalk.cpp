// SPDX-License-Identifier: Apache-2.0
#include "planning/CandidateWalk.h"

#include "planning/TypeAndIndexTable.h"
#include "planning/VersionRule.h"
#include "planning/VersionTexts.h"
#include "protocol/ChipTypes.h"

namespace chip = protocol::chip;
namespace field = package::field;
using package::MatchMask;

namespace planning {

namespace {

/** A row needs its name, chip type and chip index. */
constexpr int fewestFields = field::chipIndex + 1;

enum class Test { Passed, Failed, NotNewer };

QString versionLine(const QStringList &entry, const QStringList &row, VersionOrder order)
{
    constexpr const char *words[] = {versiontext::greater, versiontext::equal, versiontext::less};
    const Version package = versionOf(entry);
    const Version running = versionOf(row);
    return QString::fromLatin1(words[int(order)])
        .arg(QString::number(package[0]), QString::number(package[1]), QString::number(package[2]),
             row.value(field::name), QString::number(running[0]), QString::number(running[1]),
             QString::number(running[2]));
}

Test testVersion(const QStringList &entry, const QStringList &row, Decision &decision)
{
    const VersionOrder order = compareVersions(versionOf(entry), versionOf(row));
    decision.line = versionLine(entry, row, order);
    return order == VersionOrder::Greater ? Test::Passed : Test::NotNewer;
}

/** An FPGA has no MCU type, PCB or speciality: only its version can rule an entry out. */
Test testField(int index, const QStringList &entry, const QStringList &row, Decision &decision)
{
    switch (index) {
    case field::ver1:
        return testVersion(entry, row, decision);
    case field::ver2:
    case field::ver3:
        return Test::Passed; // decided together with the first number
    default:
        break;
    }
    if (chip::isFpga(row.value(field::chipType).toInt()))
        return Test::Passed;
    if (index == field::bootcodeFlag)
        return row.value(index) == QLatin1String("0") ? Test::Passed : Test::Failed;
    return entry.value(index) == row.value(index) ? Test::Passed : Test::Failed;
}

/** The field that ended the tests, or -1 when every enabled one passed. */
int firstObstacle(const QStringList &entry, const QStringList &row, const MatchMask &mask,
                  Decision &decision, Test &outcome)
{
    for (int index = field::chipType; index <= field::bootcodeFlag; ++index) {
        if (!mask.enables(index))
            continue;
        outcome = testField(index, entry, row, decision);
        if (outcome != Test::Passed)
            return index;
    }
    outcome = Test::Passed;
    return -1;
}

} // namespace

Decision decideForRow(const QStringList &row, const QStringList &firmwareList,
                      const MatchMask &mask)
{
    Decision decision;
    if (row.size() < fewestFields) {
        decision.verdict = Decision::Verdict::BadRow;
        return decision;
    }
    for (int i = 0; i < firmwareList.size(); ++i) {
        const QStringList entry = firmwareList.at(i).split(QLatin1Char(','));
        if (entry.value(field::chipType) != row.value(field::chipType))
            continue;
        decision.verdict = Decision::Verdict::NoMatch;
        Test outcome = Test::Passed;
        const int obstacle = firstObstacle(entry, row, mask, decision, outcome);
        if (outcome != Test::Failed) {
            decision.entry = i;
            decision.verdict =
                outcome == Test::Passed ? Decision::Verdict::Send : Decision::Verdict::NotNewer;
            return decision;
        }
        decision.rejections.append({i, obstacle});
    }
    return decision;
}

} // namespace planning
