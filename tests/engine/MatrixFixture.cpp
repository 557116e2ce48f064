// SPDX-License-Identifier: Apache-2.0
#include "engine/MatrixFixture.h"

#include "engine/LineModel.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"

#include <utility>

namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

const QStringList upgradeRows{"MAIN,0,0", "AUX,1,0", "END,1,1"};

QVector<ChipDescription> chips(Chain chain)
{
    QVector<ChipDescription> all;
    for (const MatrixRow &row : matrix::rows) {
        ChipDescription chip =
            testChip(row.name, row.chipType, row.chipIndex, "0.0.0", row.mcuType);
        chip.version = {quint8(row.version[0]), quint8(row.version[1]), quint8(row.version[2]),
                        true};
        all.append(chip);
    }
    all.first().bootcode = chain == Chain::BootcodeFirst;
    return all;
}

/** Both AUX MCUs take the same image. */
QVector<TestImage> images()
{
    return {testImage("MAIN", 0, {2, 0, 0}, 1, matrix::imageSize),
            testImage("AUX", 1, {2, 0, 0}, 2, matrix::imageSize)};
}

QStringList infoRows()
{
    QStringList rows{QString(
        R"({"model": "HX-8", "chips": [
            {"name": "MAIN", "chip_type": "1", "chip_quanity": "1", "mcus": [
                {"mcu_type": "1", "pcbs": [{"pcb_version": "1", "speciality": "A"}]}]},
            {"name": "AUX", "chip_type": "2", "chip_quanity": "2", "mcus": [
                {"mcu_type": "2", "pcbs": [{"pcb_version": "1", "speciality": "A"}]}]}]})")};
    for (const MatrixRow &row : matrix::rows)
        rows.append(QString("%1,%2,%3,%4,1,65")
                        .arg(QLatin1String(row.name))
                        .arg(row.chipType)
                        .arg(row.chipIndex)
                        .arg(row.mcuType));
    return rows;
}

int rowOf(const QByteArray &frame)
{
    if (frame.size() <= mcu::payloadOffset + 2)
        return -1;
    for (int row = 0; row < matrix::rowCount; ++row) {
        if (frame.at(mcu::payloadOffset) == matrix::rows[row].chipType &&
            frame.at(mcu::payloadOffset + 1) == matrix::rows[row].chipIndex)
            return row;
    }
    return -1;
}

QByteArray otherWord(const QByteArray &reply)
{
    constexpr quint16 unknown = 0xF8FF;
    const Reply seen(reply);
    return seen.isExtended() ? mcu::buildStatusFrame(mcu::replyStart, {}, unknown, seen.at(11))
                             : mcu::buildFrame(mcu::replyStart, {}, unknown, seen.payload());
}

QByteArray otherAddress(const QByteArray &reply)
{
    return mcu::buildFrame(mcu::replyStart, {0x5C, 0xA6}, mcu::wordAt(reply, mcu::wordOffset),
                           Reply(reply).payload());
}

QList<QByteArray> inBytes(const QByteArray &reply)
{
    QList<QByteArray> bytes;
    for (int at = 0; at < reply.size(); ++at)
        bytes.append(reply.mid(at, 1));
    return bytes;
}

} // namespace

MatrixFixture::MatrixFixture(const Disturbance &disturbance)
    : m_disturbance(disturbance), m_scenario(chips(disturbance.chain), images())
{
    DeviceDescription description = Scenario::deviceOf(chips(disturbance.chain));
    description.auxChips = {{1, 2, "AUX"}};
    m_scenario.device = SimulatedDevice(description);
    m_scenario.link->answerInstead = [this](const QByteArray &frame) { return answer(frame); };
    m_scenario.link->failWrite = [this](const QByteArray &frame) { return failNow(frame); };
}

bool MatrixFixture::run()
{
    m_scenario.engine->slotConnect("ttyS2");
    switch (m_disturbance.chain) {
    case Chain::Upgrade:
    case Chain::BootcodeFirst:
        m_scenario.engine->uploadByMergeFW(m_scenario.packagePath(), upgradeRows, 2);
        break;
    case Chain::Read:
        m_scenario.engine->getProductInfo();
        break;
    case Chain::Write:
        m_scenario.engine->setProductInfo(infoRows());
        break;
    }
    return m_scenario.waitForEnd() && !canRead && currentCommandKey == 0;
}

bool MatrixFixture::upgradeAgain()
{
    m_disturbance = {};
    m_hasHeld = false;
    m_nextIsSilent = false;
    m_scenario.link->plugIn();
    return m_scenario.run(upgradeRows, 2) && m_scenario.succeeded() && results() == "111";
}

bool MatrixFixture::isUpgrade() const
{
    return m_disturbance.chain == Chain::Upgrade || m_disturbance.chain == Chain::BootcodeFirst;
}

QStringList MatrixFixture::lines() const
{
    QStringList kept;
    bool ended = false;
    for (const QString &line : m_scenario.lines) {
        if (!(ended && line == "Erasing..."))
            kept.append(line);
        ended = line.contains("APPSTATUS|");
    }
    // The other two chains start after the connect, which is not a part of them.
    return isUpgrade() ? kept : kept.mid(1);
}

QStringList MatrixFixture::frames() const
{
    QStringList names;
    for (const QByteArray &frame : m_scenario.link->sent)
        names.append(LineModel::frameName(EngineHarness::wordOf(frame), rowOf(frame)));
    return names;
}

QString MatrixFixture::wrongFlash() const
{
    for (int row = 0; row < matrix::rowCount; ++row) {
        if (results().at(row) != '1')
            continue;
        const MatrixRow &chip = matrix::rows[row];
        const FlashComparison flash =
            compareFlash(m_scenario.device.flash(quint8(chip.chipType), quint8(chip.chipIndex)),
                         patternImage(matrix::imageSize, chip.chipType + chip.mcuType));
        if (!flash.equal)
            return QLatin1String(chip.name) + QLatin1String(": ") + flash.text;
    }
    return {};
}

Command MatrixFixture::commandOf(const QByteArray &frame) const
{
    QString word = EngineHarness::wordOf(frame);
    if (word == "F802")
        word += m_scenario.sentWords().contains("7902") ? QString(" system") : QString(" main");
    return {word, rowOf(frame)};
}

bool MatrixFixture::isMet(const QByteArray &frame) const
{
    const Command command = commandOf(frame);
    return command.word == m_disturbance.command.word && command.row == m_disturbance.command.row &&
           m_met < m_disturbance.times;
}

bool MatrixFixture::failNow(const QByteArray &frame)
{
    if (m_disturbance.trouble != Trouble::Unplugged || !isMet(frame))
        return false;
    m_scenario.link->unplug();
    return true;
}

QList<QByteArray> MatrixFixture::answer(const QByteArray &frame)
{
    if (isMet(frame)) {
        ++m_met;
        return troubled(frame);
    }
    if (std::exchange(m_nextIsSilent, false))
        return {};
    const QByteArray reply = m_scenario.link->deviceAnswer(frame);
    if (!std::exchange(m_hasHeld, false))
        return {reply};
    m_nextIsSilent = m_disturbance.trouble == Trouble::LateNextSilent;
    if (m_disturbance.trouble == Trouble::LateMerged)
        return {m_held + reply};
    return {m_held, reply};
}

QList<QByteArray> MatrixFixture::troubled(const QByteArray &frame)
{
    const quint16 word = mcu::wordAt(frame, mcu::wordOffset);
    switch (m_disturbance.trouble) {
    case Trouble::Silent:
        return {};
    case Trouble::Refused:
        return {mcu::buildStatusFrame(mcu::replyStart, {}, word, 3)};
    case Trouble::PowerCut:
        m_scenario.device.powerCycle();
        return {};
    default:
        break;
    }
    const QByteArray reply = m_scenario.link->deviceAnswer(frame);
    QByteArray corrupted = reply;
    switch (m_disturbance.trouble) {
    case Trouble::LostReply:
        return {};
    case Trouble::Short:
        return {mcu::buildFrame(mcu::replyStart, {}, word)};
    case Trouble::BadChecksum:
        corrupted[corrupted.size() - 1] = char(corrupted.at(corrupted.size() - 1) + 1);
        return {corrupted};
    case Trouble::WrongWord:
        return {otherWord(reply)};
    case Trouble::WrongAddress:
        return {otherAddress(reply)};
    case Trouble::Half:
        return {reply.left(reply.size() / 2)};
    case Trouble::Late:
    case Trouble::LateMerged:
    case Trouble::LateNextSilent:
        m_held = reply;
        m_hasHeld = true;
        return {};
    case Trouble::Duplicate:
        return {reply + reply};
    case Trouble::DuplicateApart:
        return {reply, reply};
    case Trouble::SingleBytes:
        return inBytes(reply);
    case Trouble::Noise:
        return {QByteArray::fromHex("005b005b5b00ff5a") + reply};
    case Trouble::Echo:
        return {frame + reply};
    default:
        return {reply};
    }
}
