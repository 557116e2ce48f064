// SPDX-License-Identifier: Apache-2.0
#include "device-check/Commands.h"
#include "device-check/PointSteps.h"

#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Statuses.h"

namespace chip = protocol::chip;
namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace devicecheck {

namespace {

/** In the data of the answer to F900. */
constexpr int bootcodeFlag = 5;

Step with(Step step, std::function<QString(const QByteArray &)> problem)
{
    step.answers.first().problemOfData = std::move(problem);
    return step;
}

bool isZero(const QByteArray &version)
{
    return version.count('\0') == version.size();
}

/** As it was read before. */
Step unchanged(const Step &step, const QByteArray &before)
{
    return with(step, [before](const QByteArray &data) {
        return data == before ? QString()
                              : QStringLiteral("the data were %1, must be unchanged")
                                    .arg(QString::fromLatin1(before.toHex(' ')));
    });
}

Steps unchangedChip(const Facts &facts)
{
    Steps steps;
    if (facts.bootcode.contains(facts.target))
        steps.append(unchanged(readBootcode(facts.target), facts.bootcode[facts.target]));
    if (facts.versions.contains(facts.target))
        steps.append(unchanged(readVersion(facts.target), facts.versions[facts.target]));
    return steps;
}

/** How a chip answers whose image is incomplete. */
Steps halfWritten(const Facts &facts)
{
    Steps steps;
    if (!chip::isFpga(facts.target.type))
        steps.append(with(readBootcode(facts.target), [](const QByteArray &data) {
            return data.at(bootcodeFlag) != 0
                       ? QString()
                       : QStringLiteral("the bootcode flag is 0, must be set while the image is "
                                        "incomplete");
        }));
    steps.append(with(readVersion(facts.target), [](const QByteArray &data) {
        return isZero(data.mid(echoSize))
                   ? QString()
                   : QStringLiteral("the version is %1, must be 0 while the image is incomplete")
                         .arg(versionText(data));
    }));
    if (facts.target == facts.mainMcu())
        steps.append(readModelName());
    return steps;
}

/** 7900 and the first blocks. */
Steps begun(const Facts &facts, int blocks)
{
    Steps steps{enterUpdateMode(facts.target)};
    for (int i = 0; i < blocks; ++i)
        steps.append(writeBlock(facts, i));
    return steps;
}

Step refused(const Facts &facts, int number, const char *why)
{
    return refusedBlock(QStringLiteral("7901: block %1, %2").arg(number).arg(QLatin1String(why)),
                        blockFrame(facts, number));
}

Step setVirtualVersion(quint8 value)
{
    return ask(QStringLiteral("7905: set the virtual version to %1").arg(value),
               hostFrame(command::setVirtualVersion, QByteArray(1, char(value))),
               status(command::setVirtualVersion));
}

Step virtualVersionIs(quint8 value)
{
    return with(readVirtualVersion(), [value](const QByteArray &data) {
        return quint8(data.at(0)) == value ? QString()
                                           : QStringLiteral("the virtual version is %1, must be %2")
                                                 .arg(quint8(data.at(0)))
                                                 .arg(value);
    });
}

} // namespace

Steps rebootSteps(const Facts &facts)
{
    return reboot() + unchangedChip(facts);
}

Steps enterWrongChipSteps(const Facts &facts)
{
    const Step step = enterUpdateMode(missingChip(facts));
    return {askNothing(step.text + QStringLiteral(", which does not exist"),
                       step.pieces.first().bytes)};
}

Steps blockOutsideSteps(const Facts &facts)
{
    return Steps{refused(facts, 0, "not in update mode")} + unchangedChip(facts);
}

Steps enterSteps(const Facts &facts)
{
    return {enterUpdateMode(facts.target)};
}

Steps enterKeepsSteps(const Facts &facts)
{
    return enterSteps(facts) + unchangedChip(facts);
}

Steps blockOrderSteps(const Facts &facts)
{
    return begun(facts, 0) + Steps{refused(facts, 1, "before block 0")} + unchangedChip(facts);
}

Steps firstBlockSteps(const Facts &facts)
{
    return begun(facts, 1);
}

Steps halfWrittenSteps(const Facts &facts)
{
    return begun(facts, 1) + halfWritten(facts);
}

Steps repeatedBlockSteps(const Facts &facts)
{
    Step twice = writeBlock(facts, 1);
    twice.text += QStringLiteral(", twice at once");
    twice.pieces.append(twice.pieces.first());
    twice.answers.append(twice.answers.first());
    twice.limitBetween = times::repeatedBlock;
    return begun(facts, 1) + Steps{writeBlock(facts, 0), twice, refused(facts, 0, "again")};
}

Steps skippedBlockSteps(const Facts &facts)
{
    return begun(facts, 1) + Steps{refused(facts, 2, "in place of block 1"), writeBlock(facts, 1)};
}

Steps blockLengthSteps(const Facts &facts)
{
    const QByteArray whole = blockFrame(facts, 1);
    const QByteArray data = whole.mid(mcu::payloadOffset, whole.size() - mcu::payloadOffset - 1);
    const auto other = [](const QByteArray &data) {
        Step step = mayAsk(QStringLiteral("7901: block 1 with %1 data bytes").arg(data.size()),
                           hostFrame(command::writeBlock, data), refusal(command::writeBlock));
        return step;
    };
    return begun(facts, 1) + Steps{other(data.left(data.size() - 1)), other(data + '\0'),
                                   refused(facts, 2, "in place of block 1"), writeBlock(facts, 1)};
}

Steps blockChecksumSteps(const Facts &facts)
{
    const Step damaged =
        mayAsk(QStringLiteral("7901: block 1 with a wrong checksum"),
               withWrongChecksum(blockFrame(facts, 1)), refusal(command::writeBlock));
    return begun(facts, 1) +
           Steps{damaged, refused(facts, 2, "in place of block 1"), writeBlock(facts, 1)};
}

Steps enterAgainSteps(const Facts &facts)
{
    return begun(facts, 2) + enterSteps(facts) + halfWritten(facts) +
           Steps{refused(facts, 2, "after 7900"), writeBlock(facts, 0)};
}

Steps rebootHalfWrittenSteps(const Facts &facts)
{
    return begun(facts, 1) + reboot() + halfWritten(facts) +
           Steps{refused(facts, 1, "after a reboot")};
}

Steps powerOffSteps(const Facts &facts)
{
    return begun(facts, 2) + Steps{switchPowerOffAndOn(), waitUntilBack()} + halfWritten(facts) +
           Steps{refused(facts, 2, "after the power was off")} + enterSteps(facts);
}

Steps imageSteps(const Facts &facts)
{
    return begun(facts, blockCount(facts));
}

Steps backAfterImageSteps(const Facts &facts)
{
    if (facts.target == facts.mainMcu())
        return {waitUntilBack()};
    Step step = readVersion(facts.target);
    step.pieces.first().pause = times::afterImage;
    return {step};
}

Steps newVersionSteps(const Facts &facts)
{
    Steps steps;
    if (!chip::isFpga(facts.target.type))
        steps.append(with(readBootcode(facts.target), [](const QByteArray &data) {
            return data.at(bootcodeFlag) == 0
                       ? QString()
                       : QStringLiteral("the bootcode flag is %1, must be 0 after the last block")
                             .arg(quint8(data.at(bootcodeFlag)));
        }));
    const QByteArray wanted = facts.imageVersion;
    steps.append(with(readVersion(facts.target), [wanted](const QByteArray &data) {
        const bool isRight =
            wanted.isEmpty() ? !isZero(data.mid(echoSize)) : data.mid(echoSize) == wanted;
        return isRight ? QString()
                       : QStringLiteral("the version is %1, must be %2")
                             .arg(versionText(data),
                                  wanted.isEmpty() ? QStringLiteral("other than 0")
                                                   : versionText(QByteArray(echoSize, 0) + wanted));
    }));
    return steps;
}

Steps setVirtualVersionSteps(const Facts &facts)
{
    return {setVirtualVersion(facts.virtualVersion.value_or(0))};
}

Steps virtualVersionKeptSteps(const Facts &facts)
{
    if (!facts.virtualVersion)
        return {};
    const quint8 old = *facts.virtualVersion;
    const auto other = quint8(old + 1);
    return {setVirtualVersion(other), virtualVersionIs(other), setVirtualVersion(old),
            virtualVersionIs(old)};
}

Steps writeRecordSteps(const Facts &facts)
{
    const QByteArray record = facts.records.value(facts.target);
    if (chip::isFpga(facts.target.type) || record.isEmpty())
        return {};
    Step write = ask(QStringLiteral("7903: write the product information of %1 as it was read")
                         .arg(chipText(facts.target)),
                     hostFrame(command::writeProductInformation, record),
                     data(command::writeProductInformation, echoSize + 1));
    const QByteArray done = chipData(facts.target) + char(protocol::status::done);
    write = with(write, [done](const QByteArray &data) {
        return data == done ? QString()
                            : QStringLiteral("the data are %1, must be %2")
                                  .arg(QString::fromLatin1(data.toHex(' ')),
                                       QString::fromLatin1(done.toHex(' ')));
    });
    return {write, unchanged(readRecord(facts.target), record)};
}

} // namespace devicecheck
