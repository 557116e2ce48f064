// SPDX-License-Identifier: Apache-2.0
// The effect of each line of the agent on the model.
#include "client/UpgradeModel.h"

#include "protocol/ChipTypes.h"
#include "protocol/Progress.h"

#include <algorithm>

namespace chip = protocol::chip;
using protocol::wholeProgress;

namespace client {

namespace {

QString versionText(const QStringList &values, int first)
{
    return QStringList(values.mid(first, 3)).join(QLatin1Char('.'));
}

} // namespace

void UpgradeModel::onRunStarted(const LineMeaning &, ms)
{
    m_phase = RunPhase::Reading;
}

/** Without the port to the device everything later fails, too: the port is the reason to show. */
void UpgradeModel::onProblem(const LineMeaning &meaning, ms)
{
    if (m_problem != ProblemId::PortUnavailable)
        m_problem = meaning.cause;
}

/** Of rows with the same name each has the line once in a pass. One more line of a name is of a row
 *  that was not known, unless all rows are. */
void UpgradeModel::onReadBegun(const LineMeaning &meaning, ms now)
{
    int row = findUnread(meaning);
    const bool isNew = row < 0 && !m_knowsRows;
    if (isNew)
        row = addMcu(meaning.values.value(0));
    if (row >= 0) {
        m_begunReads += {row, meaning.id};
        moveTo(row, now);
    }
    onReading(meaning, now);
}

void UpgradeModel::onReading(const LineMeaning &meaning, ms now)
{
    m_phase = RunPhase::Reading;
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    if (mcu.phase == McuPhase::Waiting)
        mcu.phase = McuPhase::Reading;
}

void UpgradeModel::onVersionRead(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    mcu.oldVersion = versionText(meaning.values, 1);
}

void UpgradeModel::onReadRetry(const LineMeaning &meaning, ms now)
{
    ++mcuNamed(meaning.values.value(0), now).retries;
}

/** The first problem causes those that follow. */
void UpgradeModel::onMcuProblem(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    if (mcu.cause == ProblemId::None)
        mcu.cause = meaning.cause;
}

void UpgradeModel::onEnterSent(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    beginWrite(mcu, now);
    mcu.phase = McuPhase::Entering;
}

void UpgradeModel::onEntered(const LineMeaning &meaning, ms now)
{
    m_hasWritten = true;
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    mcu.phase = McuPhase::Erasing;
    mcu.isBegun = true;
}

void UpgradeModel::onWriteRetry(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    mcu.cause = meaning.cause;
    if (meaning.values.size() > 1)
        ++mcu.retries;
}

void UpgradeModel::onWriteFailed(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    if (mcu.cause != ProblemId::UpdateModeRefused || mcu.isBegun)
        mcu.cause = meaning.cause;
    finish(mcu, McuResult::Failed, now);
}

void UpgradeModel::onWritten(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    mcu.percent = wholeProgress;
    mcu.cause = ProblemId::None;
    mcu.isBegun = false;
    finish(mcu, McuResult::Updated, now);
}

void UpgradeModel::onDecision(const LineMeaning &meaning, ms now)
{
    constexpr int name = 3;
    constexpr int runs = 4;
    McuState &mcu = mcuNamed(meaning.values.value(name), now);
    mcu.newVersion = versionText(meaning.values, 0);
    if (mcu.oldVersion.isEmpty() && mcu.cause == ProblemId::None)
        mcu.oldVersion = versionText(meaning.values, runs);
    mcu.isChosen = meaning.event == LineEvent::WillUpgrade;
    if (mcu.isChosen)
        return;
    mcu.cause = ProblemId::None;
    finish(mcu,
           meaning.event == LineEvent::SameVersion ? McuResult::Current : McuResult::PackageOlder,
           now);
}

void UpgradeModel::onNoFirmware(const LineMeaning &meaning, ms now)
{
    McuState &mcu = mcuNamed(meaning.values.value(0), now);
    finish(mcu, McuResult::NothingFits, now);
}

/** The line has no name: it is about the row that was chosen to be written or, where versions are
 *  not compared, about the next one. After a gap it may be about any of those that are left. */
void UpgradeModel::onRowRefused(const LineMeaning &meaning, ms now)
{
    McuState *mcu = currentMcu();
    const bool isChosen = mcu != nullptr && mcu->isChosen && mcu->phase != McuPhase::Finished;
    if (m_mayHaveGap) {
        for (McuState &left : m_mcus)
            left.isLost = left.phase != McuPhase::Finished;
        return;
    }
    const int row = isChosen ? m_current : nextRow();
    if (row < 0)
        return;
    moveTo(row, now);
    m_mcus[row].cause = meaning.cause;
    finish(m_mcus[row], McuResult::Failed, now);
}

void UpgradeModel::onErasing(const LineMeaning &, ms)
{
    if (McuState *mcu = currentMcu(); mcu != nullptr && mcu->phase == McuPhase::Entering)
        mcu->phase = McuPhase::Erasing;
}

void UpgradeModel::onWriting(const LineMeaning &, ms now)
{
    McuState *mcu = currentMcu();
    if (mcu == nullptr || mcu->phase == McuPhase::Finished)
        return;
    mcu->phase = McuPhase::Writing;
    if (mcu->writingSince.count() < 0)
        mcu->writingSince = now;
}

void UpgradeModel::onBlockRetry(const LineMeaning &, ms)
{
    if (McuState *mcu = currentMcu())
        ++mcu->retries;
}

void UpgradeModel::onMainRestarting(const LineMeaning &, ms)
{
    if (McuState *mcu = currentMcu())
        mcu->phase = McuPhase::Restarting;
}

void UpgradeModel::onMainBack(const LineMeaning &, ms now)
{
    if (McuState *mcu = currentMcu())
        finish(*mcu, McuResult::Updated, now);
}

void UpgradeModel::onMainLost(const LineMeaning &meaning, ms now)
{
    m_problem = meaning.cause;
    McuState *mcu = currentMcu();
    if (mcu == nullptr)
        return;
    mcu->cause = meaning.cause;
    finish(*mcu, McuResult::Failed, now);
}

void UpgradeModel::onRebooting(const LineMeaning &, ms now)
{
    moveTo(m_mcus.size(), now);
    m_phase = RunPhase::Rebooting;
}

void UpgradeModel::onRebootBegun(const LineMeaning &meaning, ms now)
{
    onRebooting(meaning, now);
    m_hasRebooted = true;
}

void UpgradeModel::onSettingVersion(const LineMeaning &, ms now)
{
    moveTo(m_mcus.size(), now);
    m_phase = RunPhase::SettingVersion;
}

/** The line has no name: it is about the next row of the module's chip type. */
void UpgradeModel::onNetStarted(const LineMeaning &, ms now)
{
    const auto next = std::find_if(m_mcus.begin(), m_mcus.end(), [](const McuState &mcu) {
        return mcu.chipType == chip::networkModule && mcu.phase != McuPhase::Finished;
    });
    if (next != m_mcus.end())
        moveTo(int(next - m_mcus.begin()), now);
    if (McuState *mcu = currentMcu()) {
        beginWrite(*mcu, now);
        mcu->phase = McuPhase::Writing;
    }
    m_phase = RunPhase::Installing;
    m_hasWritten = true;
}

void UpgradeModel::onNetInstalled(const LineMeaning &meaning, ms now)
{
    m_netVersion = meaning.values.value(0);
    McuState *mcu = currentMcu();
    if (mcu == nullptr)
        return;
    mcu->newVersion = m_netVersion;
    mcu->percent = wholeProgress;
    mcu->cause = ProblemId::None;
    finish(*mcu, McuResult::Updated, now);
}

void UpgradeModel::onNetFailed(const LineMeaning &meaning, ms now)
{
    McuState *mcu = currentMcu();
    if (mcu == nullptr)
        return;
    mcu->cause = meaning.cause;
    finish(*mcu, McuResult::Failed, now);
}

} // namespace client
