// SPDX-License-Identifier: Apache-2.0
#include "device-check/Commands.h"
#include "device-check/PointSteps.h"

#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"

#include <algorithm>

namespace chip = protocol::chip;
namespace command = protocol::command;
using protocol::AuxChip;
using protocol::ProductRecord;

namespace devicecheck {

namespace {

QVector<Chip> mcusOf(const Facts &facts)
{
    QVector<Chip> mcus;
    std::copy_if(facts.chips.begin(), facts.chips.end(), std::back_inserter(mcus),
                 [](Chip one) { return !chip::isFpga(one.type); });
    return mcus;
}

Steps forEach(const QVector<Chip> &chips, Step (*step)(Chip))
{
    Steps steps;
    for (const Chip one : chips)
        steps.append(step(one));
    return steps;
}

/** Without a check of the size: only type and index count. */
Step echoing(Step step, Chip chip)
{
    const QByteArray echo = chipData(chip);
    Expected &expected = step.answers.first();
    expected.leastData = 0;
    expected.problemOfData = [echo](const QByteArray &data) {
        return data.startsWith(echo)
                   ? QString()
                   : QStringLiteral("the data are %1, must begin with type and index, %2")
                         .arg(data.isEmpty() ? QStringLiteral("missing")
                                             : QString::fromLatin1(data.toHex(' ')),
                              QString::fromLatin1(echo.toHex(' ')));
    };
    return step;
}

bool isKnown(const Facts &facts, quint8 type)
{
    return std::any_of(facts.chips.begin(), facts.chips.end(),
                       [type](Chip one) { return one.type == type; }) ||
           std::any_of(facts.kinds.begin(), facts.kinds.end(),
                       [type](const AuxChip &kind) { return kind.chipType == type; });
}

/** The answer must be a record that can be written back as it is. */
Step wellFormedRecord(Chip chip)
{
    Step step = readRecord(chip);
    step.answers.first().problemOfData = [](const QByteArray &data) {
        const QByteArray canonical = ProductRecord::decode(data).encode();
        return canonical == data ? QString()
                                 : QStringLiteral("the record has another layout; its content in "
                                                  "the right one is %1")
                                       .arg(QString::fromLatin1(canonical.toHex(' ')));
    };
    return step;
}

} // namespace

Steps anyAnswer(const Facts &)
{
    Step step = readProductId();
    step.answers = {any(command::readProductId)};
    step.attempts = 2;
    return {step};
}

Steps productIdSteps(const Facts &)
{
    return {readProductId()};
}

Steps modelNameSteps(const Facts &)
{
    return {readModelName()};
}

Steps versionSteps(const Facts &facts)
{
    return forEach(facts.chips, readVersion);
}

Steps bootcodeSteps(const Facts &facts)
{
    return forEach(mcusOf(facts), readBootcode);
}

Steps recordSteps(const Facts &facts)
{
    return forEach(mcusOf(facts), readRecord);
}

Steps recordLayoutSteps(const Facts &facts)
{
    return forEach(mcusOf(facts), wellFormedRecord);
}

Steps virtualVersionSteps(const Facts &)
{
    return {readVirtualVersion()};
}

Steps echoSteps(const Facts &facts)
{
    Steps steps;
    for (const Chip one : facts.chips) {
        steps.append(echoing(readVersion(one), one));
        if (!chip::isFpga(one.type)) {
            steps.append(echoing(readBootcode(one), one));
            steps.append(echoing(readRecord(one), one));
        }
    }
    return steps;
}

Chip missingChip(const Facts &facts)
{
    for (int type = chip::firstFpga - 1; type > chip::mainMcu; --type) {
        if (!isKnown(facts, quint8(type)))
            return {quint8(type), 0};
    }
    constexpr quint8 lastIndex = 0xFF;
    return {chip::mainMcu, lastIndex};
}

Steps wrongChipSteps(const Facts &facts)
{
    const Chip missing = missingChip(facts);
    Steps steps;
    for (Step step : {readVersion(missing), readBootcode(missing), readRecord(missing)})
        steps.append(askNothing(step.text + QStringLiteral(", which does not exist"),
                                step.pieces.first().bytes));
    const Chip otherIndex{facts.mainMcu().type, 0xFF};
    steps.append(askNothing(readVersion(otherIndex).text + QStringLiteral(", which does not exist"),
                            readVersion(otherIndex).pieces.first().bytes));
    return steps;
}

Steps fpgaSteps(const Facts &facts)
{
    Steps steps;
    for (const Chip one : facts.chips) {
        if (!chip::isFpga(one.type))
            continue;
        for (const Step &step : {readBootcode(one), readRecord(one)})
            steps.append(askNothing(step.text, step.pieces.first().bytes));
    }
    return steps;
}

Steps numberingSteps(const Facts &facts)
{
    Steps steps{readVersion(facts.mainMcu())};
    for (const AuxChip &kind : facts.kinds) {
        const Chip first{kind.chipType, 0};
        if (kind.quantity == 0)
            continue;
        if (!facts.chips.contains(first)) {
            steps.append(readVersion({kind.chipType, kind.quantity}));
            continue;
        }
        steps.append(readVersion(first));
        if (kind.quantity > 1)
            steps.append(readVersion({kind.chipType, quint8(kind.quantity - 1)}));
    }
    return steps;
}

Steps numberingFromZeroSteps(const Facts &facts)
{
    Steps steps{readVersion({chip::mainMcu, 0})};
    for (const AuxChip &kind : facts.kinds) {
        if (kind.quantity > 0)
            steps.append(readVersion({kind.chipType, 0}));
    }
    return steps;
}

} // namespace devicecheck
