// SPDX-License-Identifier: Apache-2.0
#include "client/UpgradeModel.h"

#include "protocol/ChipTypes.h"
#include "protocol/Progress.h"

#include <algorithm>
#include <map>

namespace chip = protocol::chip;
using protocol::wholeProgress;

namespace client {

namespace {

/** The maximum number of rows added by lines with unknown names. */
constexpr int maxMcus = 4096;

/** The agent removes all blanks from the rows of a request. */
QString withoutBlanks(const QString &name)
{
    return QString(name).remove(QLatin1Char(' '));
}

/** The name is the label if no other row has it. */
QString labelOf(const WantedMcu &row, const QVector<WantedMcu> &all)
{
    const auto same = std::count_if(all.begin(), all.end(), [&](const WantedMcu &other) {
        return withoutBlanks(other.name) == withoutBlanks(row.name);
    });
    return same == 1
               ? row.name
               : QStringLiteral("%1 (%2,%3)").arg(row.name).arg(row.chipType).arg(row.chipIndex);
}

bool isRead(LineEvent event)
{
    return event == LineEvent::ReadBegun || event == LineEvent::Reading ||
           event == LineEvent::VersionRead || event == LineEvent::ReadRetry;
}

/** In the pass that decides about the MCUs in order and writes them. */
bool isWrite(LineEvent event)
{
    return (event >= LineEvent::EnterSent && event <= LineEvent::RowRefused) ||
           event == LineEvent::Rebooting || event == LineEvent::RebootBegun ||
           event == LineEvent::SettingVersion || event == LineEvent::NetStarted;
}

} // namespace

UpgradeModel::UpgradeModel(const QVector<WantedMcu> &wanted)
{
    for (const WantedMcu &row : wanted) {
        McuState mcu;
        mcu.name = row.name;
        mcu.wireName = withoutBlanks(row.wireName.isEmpty() ? row.name : row.wireName);
        mcu.label = labelOf(row, wanted);
        mcu.chipType = row.chipType;
        mcu.chipIndex = row.chipIndex;
        mcu.newVersion = row.newVersion;
        mcu.imageSize = row.imageSize;
        mcu.isForced = row.isForced;
        m_mcus.append(mcu);
    }
    m_rowCount = m_mcus.size();
}

UpgradeModel UpgradeModel::ofActiveRun()
{
    UpgradeModel model;
    model.m_knowsRows = false;
    model.m_sawBeginning = false;
    model.m_phase = RunPhase::Joining;
    return model;
}

bool UpgradeModel::take(const AgentReply &reply, ms now)
{
    if (m_phase == RunPhase::Joining)
        takeStart(reply);
    const bool isTaken = !hasEnded() && takeReply(reply, now);
    // The result directly follows the lines about the link; takeLine() handles log lines.
    if (isTaken && reply.kind != AgentReply::Kind::Disconnected &&
        reply.kind != AgentReply::Kind::Log)
        m_mayHaveGap = false;
    return isTaken;
}

/** The lines about the link and the model of the device precede the first MCU. */
void UpgradeModel::takeStart(const AgentReply &reply)
{
    const bool isLog = reply.kind == AgentReply::Kind::Log;
    const bool isStart = isLog && meaningOf(reply.text).event == LineEvent::RunStarted;
    m_sawBeginning = m_sawBeginning || isStart || reply.kind == AgentReply::Kind::Connected;
    if (reply.kind == AgentReply::Kind::Progress && reply.percent > 0.0)
        m_phase = RunPhase::Writing;
}

bool UpgradeModel::takeReply(const AgentReply &reply, ms now)
{
    switch (reply.kind) {
    case AgentReply::Kind::Log:
        takeLine(reply.text, now);
        return true;
    case AgentReply::Kind::Progress:
        takeProgress(reply.percent, now);
        return true;
    case AgentReply::Kind::NetVersion:
        m_netVersion = reply.text;
        return true;
    case AgentReply::Kind::UpgradeSuccess:
    case AgentReply::Kind::UpgradeFail:
        end(reply.kind == AgentReply::Kind::UpgradeSuccess, now);
        return true;
    case AgentReply::Kind::Connected:
    case AgentReply::Kind::Disconnected:
        return true;
    default:
        return false;
    }
}

UpgradeModel::Handler UpgradeModel::handlerOf(LineEvent event)
{
    static const std::map<LineEvent, Handler> handlers = {
        {LineEvent::RunStarted, &UpgradeModel::onRunStarted},
        {LineEvent::RunProblem, &UpgradeModel::onProblem},
        {LineEvent::ReadBegun, &UpgradeModel::onReadBegun},
        {LineEvent::Reading, &UpgradeModel::onReading},
        {LineEvent::VersionRead, &UpgradeModel::onVersionRead},
        {LineEvent::ReadRetry, &UpgradeModel::onReadRetry},
        {LineEvent::McuProblem, &UpgradeModel::onMcuProblem},
        {LineEvent::EnterSent, &UpgradeModel::onEnterSent},
        {LineEvent::Entered, &UpgradeModel::onEntered},
        {LineEvent::WriteRetry, &UpgradeModel::onWriteRetry},
        {LineEvent::WriteFailed, &UpgradeModel::onWriteFailed},
        {LineEvent::Written, &UpgradeModel::onWritten},
        {LineEvent::WillUpgrade, &UpgradeModel::onDecision},
        {LineEvent::SameVersion, &UpgradeModel::onDecision},
        {LineEvent::PackageOlder, &UpgradeModel::onDecision},
        {LineEvent::NoFirmware, &UpgradeModel::onNoFirmware},
        {LineEvent::RowRefused, &UpgradeModel::onRowRefused},
        {LineEvent::Erasing, &UpgradeModel::onErasing},
        {LineEvent::Writing, &UpgradeModel::onWriting},
        {LineEvent::BlockRetry, &UpgradeModel::onBlockRetry},
        {LineEvent::MainRestarting, &UpgradeModel::onMainRestarting},
        {LineEvent::MainBack, &UpgradeModel::onMainBack},
        {LineEvent::MainLost, &UpgradeModel::onMainLost},
        {LineEvent::Rebooting, &UpgradeModel::onRebooting},
        {LineEvent::RebootBegun, &UpgradeModel::onRebootBegun},
        {LineEvent::SettingVersion, &UpgradeModel::onSettingVersion},
        {LineEvent::NetStarted, &UpgradeModel::onNetStarted},
        {LineEvent::NetInstalled, &UpgradeModel::onNetInstalled},
        {LineEvent::NetFailed, &UpgradeModel::onNetFailed},
    };
    const auto found = handlers.find(event);
    return found == handlers.end() ? nullptr : found->second;
}

void UpgradeModel::takeLine(const QString &line, ms now)
{
    const LineMeaning meaning = meaningOf(line);
    if (isRead(meaning.event)) {
        if (!m_isReading)
            m_begunReads.clear();
        m_isReading = true;
        m_passed = -1;
    } else if (isWrite(meaning.event)) {
        m_isReading = false;
    }
    if (meaning.cause != ProblemId::None)
        m_problemLines[meaning.cause] = m_problemLines[ProblemId::Unexplained] = line;
    if (const Handler handler = handlerOf(meaning.event)) {
        (this->*handler)(meaning, now);
        m_mayHaveGap = false;
    }
}

/**
 * The agent counts every row as 100, whether something is sent to it or not. A row that it gives up
 * counts as well, so progress says nothing about an MCU that is not in its update mode.
 */
void UpgradeModel::takeProgress(double percent, ms now)
{
    m_percent = std::clamp(percent, m_percent, wholeProgress);
    followProgress(percent, now);
    McuState *mcu = currentMcu();
    if (mcu == nullptr || mcu->phase < McuPhase::Erasing || mcu->phase > McuPhase::Writing)
        return;
    // Without the number of rows the share of an MCU is not known, only that a block was sent.
    const double own = m_knowsRows ? percent * m_mcus.size() - wholeProgress * m_current : percent;
    if (m_knowsRows)
        mcu->percent = std::clamp(own, 0.0, wholeProgress);
    if (own <= 0.0)
        return;
    if (mcu->writingSince.count() < 0)
        mcu->writingSince = now;
    ++mcu->blocks;
}

/** Derives the current row from the progress, also if the lines about that row were lost. */
void UpgradeModel::followProgress(double percent, ms now)
{
    const int rows = m_mcus.size();
    if (rows == 0 || rows != m_rowCount || !(percent > 0.0 && percent < wholeProgress))
        return;
    const int row = int(percent * rows / wholeProgress);
    const double own = percent * rows - wholeProgress * row;
    // Two decimals are sent. A failed row ends at the same percentage as a successful one.
    const double leastSure = 0.01 * rows;
    McuState &mcu = m_mcus[row];
    const bool isKnown = row == m_current && mcu.phase >= McuPhase::Erasing;
    if (isKnown || own < leastSure || own > wholeProgress - leastSure ||
        mcu.phase == McuPhase::Finished)
        return;
    m_isReading = false;
    m_mayHaveGap = true;
    moveTo(row, now);
    beginWrite(mcu, now);
    mcu.phase = McuPhase::Writing;
    mcu.isBegun = true;
    m_hasWritten = true;
}

void UpgradeModel::end(bool succeeded, ms now)
{
    if (m_mayHaveGap && m_problem == ProblemId::None && m_phase < RunPhase::Rebooting) {
        m_isReading = false;
        moveTo(m_mcus.size(), now);
    }
    m_succeeded = succeeded;
    // A run succeeds only after the reboot of the device.
    m_hasRebooted = m_hasRebooted || succeeded;
    if (succeeded)
        m_percent = wholeProgress;
    m_phase = RunPhase::Ended;
    for (McuState &mcu : m_mcus)
        settle(mcu, now);
    m_current = -1;
}

/** By the end of a run an MCU without a verdict was either broken off, passed over or not reached.
 */
void UpgradeModel::settle(McuState &mcu, ms now)
{
    if (mcu.result != McuResult::Open)
        return;
    // A complete run has reported the result of each image.
    if (mcu.isLost || (m_succeeded && mcu.isInProgress())) {
        finish(mcu, McuResult::Unknown, now);
        return;
    }
    const bool wasBegun = mcu.started.count() >= 0;
    if (wasBegun && mcu.cause == ProblemId::None)
        mcu.cause = m_problem == ProblemId::None ? ProblemId::Unexplained : m_problem;
    if (mcu.cause != ProblemId::None)
        finish(mcu, McuResult::Failed, now);
    else
        finish(mcu, m_succeeded ? McuResult::NothingFits : McuResult::NotReached, now);
}

void UpgradeModel::settleUnseen(ms now)
{
    for (McuState &mcu : m_mcus) {
        if (mcu.result == McuResult::Open)
            finish(mcu, McuResult::Unknown, now);
    }
    m_current = -1;
}

int UpgradeModel::findMcu(const QString &name) const
{
    const QString wireName = withoutBlanks(name);
    const int count = m_mcus.size();
    int finished = -1;
    for (int i = 0; i < count; ++i) {
        const int index = (std::max(m_current, 0) + i) % count;
        if (m_mcus.at(index).wireName != wireName)
            continue;
        if (m_mcus.at(index).phase != McuPhase::Finished)
            return index;
        if (finished < 0)
            finished = index;
    }
    return finished;
}

/** What is still at work in another row has ended, and the line that said how was lost. After a
 *  gap this may be so for the rows in between as well. */
void UpgradeModel::moveTo(int row, ms now)
{
    McuState *left = currentMcu();
    if (left != nullptr && row != m_current && left->isInProgress())
        finish(*left, McuResult::Unknown, now);
    for (int i = m_passed + 1; i < row && m_mayHaveGap && !m_isReading; ++i)
        m_mcus[i].isLost = m_mcus.at(i).phase != McuPhase::Finished;
    m_current = row < m_mcus.size() ? row : -1;
    m_passed = m_isReading ? -1 : row;
}

McuState &UpgradeModel::mcuNamed(const QString &name, ms now)
{
    int index = findMcu(name);
    // Two rows may have the same name; after the end of one, lines belong to the next.
    if (index >= 0 && !m_knowsRows && !m_isReading && m_mcus.at(index).phase == McuPhase::Finished)
        index = -1;
    if (index < 0)
        index = addMcu(name);
    moveTo(index, now);
    return m_mcus[index];
}

int UpgradeModel::addMcu(const QString &name)
{
    if (m_mcus.size() < maxMcus) {
        McuState mcu;
        mcu.name = name;
        mcu.wireName = withoutBlanks(name);
        mcu.label = name;
        mcu.isPercentKnown = m_knowsRows;
        m_mcus.append(mcu);
    }
    return m_mcus.size() - 1;
}

int UpgradeModel::findUnread(const LineMeaning &meaning) const
{
    const QString wireName = withoutBlanks(meaning.values.value(0));
    for (int i = 0; i < m_mcus.size(); ++i) {
        if (m_mcus.at(i).wireName == wireName && !m_begunReads.contains({i, meaning.id}))
            return i;
    }
    return -1;
}

int UpgradeModel::nextRow() const
{
    const int count = m_mcus.size();
    for (int i = 1; i <= count; ++i) {
        const int row = (std::max(m_passed, -1) + i) % count;
        if (m_mcus.at(row).phase != McuPhase::Finished)
            return row;
    }
    return -1;
}

QString UpgradeModel::labelled(const QString &line) const
{
    QString text = line;
    for (const McuState &mcu : m_mcus) {
        if (mcu.wireName != mcu.label)
            text.replace('\'' + mcu.wireName + '\'', '\'' + mcu.label + '\'');
    }
    return text;
}

McuState *UpgradeModel::currentMcu()
{
    return m_current < 0 ? nullptr : &m_mcus[m_current];
}

void UpgradeModel::finish(McuState &mcu, McuResult result, ms now)
{
    mcu.phase = McuPhase::Finished;
    mcu.result = result;
    if (mcu.started.count() >= 0)
        mcu.ended = now;
}

void UpgradeModel::beginWrite(McuState &mcu, ms now)
{
    if (mcu.started.count() < 0)
        mcu.started = now;
    mcu.percent = 0.0;
    mcu.blocks = 0;
    mcu.writingSince = ms(-1);
    m_phase = RunPhase::Writing;
}

} // namespace client
