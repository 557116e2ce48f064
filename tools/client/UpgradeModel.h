// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentReply.h"
#include "client/McuState.h"
#include "client/Messages.h"

#include <QMap>
#include <QPair>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <chrono>

namespace client {

/** The phase of the run; the likely state after a lost connection depends on it. */
enum class RunPhase {
    /** No line was received yet of a run that was already active. */
    Joining,
    Preparing,
    Reading,
    Writing,
    Installing,
    Rebooting,
    SettingVersion,
    Ended
};

/** A requested row. */
struct WantedMcu
{
    /** As the package or the user has it. Several rows may have the same one. */
    QString name;
    int chipType = -1;
    int chipIndex = 0;
    /** The version in the package, empty when not known. */
    QString newVersion;
    /** Of its image, in bytes; negative when not known. */
    qint64 imageSize = -1;
    /** The mode compares no versions. */
    bool isForced = false;
    /** The name as it is sent, empty for `name`; blanks do not count. */
    QString wireName = {};
};

/**
 * The state of a run, derived from the agent's lines. Uses no clock: the caller passes each reply
 * with the time of its arrival.
 *
 * Make it from the rows of the request (packageRows(), chosenRows() or requestedRows()), or with
 * ofActiveRun() for a run that another client started. Pass it every reply from the request on,
 * and call expectGap() at each AgentConnection::pulseAnswered(): the agent sends a run's lines to
 * the client with the last request, and the model must know where lines may be missing. The run is
 * over when hasEnded(); outcomeOf() then has the result. If the connection is lost before, call
 * likelyState() and then settleUnseen().
 */
class UpgradeModel
{
public:
    using ms = std::chrono::milliseconds;

    UpgradeModel() = default;
    explicit UpgradeModel(const QVector<WantedMcu> &wanted);
    /** For a run that was already active: its rows are known only from the lines. */
    static UpgradeModel ofActiveRun();

    /** Lines before the next reply may have gone to another client. */
    void expectGap() { m_mayHaveGap = true; }
    /** Processes a reply; false for one that is not about a run. */
    bool take(const AgentReply &reply, ms now);

    /** Whether the rows of the run are known beforehand. */
    bool knowsRows() const { return m_knowsRows; }
    /** Whether the run was followed from before its first MCU on. */
    bool sawBeginning() const { return m_sawBeginning; }
    const QVector<McuState> &mcus() const { return m_mcus; }
    /** The current MCU, -1 when there is none. */
    int current() const { return m_current; }
    RunPhase phase() const { return m_phase; }
    /** Of the whole run, 0 to 100; never goes down. */
    double percent() const { return m_percent; }
    /** The agent has reported the result. */
    bool hasEnded() const { return m_phase == RunPhase::Ended; }
    bool succeeded() const { return m_succeeded; }
    /** The device was rebooted, as far as the lines say. */
    bool hasRebooted() const { return m_hasRebooted; }
    /** Why the run as a whole failed, as far as its lines show it. */
    ProblemId problem() const { return m_problem; }
    /** Version of the module's own firmware if this run installed one. */
    QString netVersion() const { return m_netVersion; }
    /** The write of an image, or of the module's firmware, has begun; the device may be incomplete.
     */
    bool hasWritten() const { return m_hasWritten; }
    /** A line of the agent with the labels of the rows in the places of the names that were sent.
     */
    QString labelled(const QString &line) const;
    /** The last line of the agent with this cause; empty for causes that are the client's own. */
    QString problemLine(ProblemId cause) const { return m_problemLines.value(cause); }

    /** The result can no longer arrive, but everything before it succeeded. */
    void assumeSuccess(ms now) { end(true, now); }
    /** Every undecided MCU stays unknown: the connection was lost. */
    void settleUnseen(ms now);

private:
    using Handler = void (UpgradeModel::*)(const LineMeaning &meaning, ms now);
    static Handler handlerOf(LineEvent event);

    bool takeReply(const AgentReply &reply, ms now);
    void takeLine(const QString &line, ms now);
    void takeProgress(double percent, ms now);
    void takeStart(const AgentReply &reply);
    void followProgress(double percent, ms now);
    void end(bool succeeded, ms now);
    void settle(McuState &mcu, ms now);

    void onRunStarted(const LineMeaning &meaning, ms now);
    void onProblem(const LineMeaning &meaning, ms now);
    void onReadBegun(const LineMeaning &meaning, ms now);
    void onReading(const LineMeaning &meaning, ms now);
    void onVersionRead(const LineMeaning &meaning, ms now);
    void onReadRetry(const LineMeaning &meaning, ms now);
    void onMcuProblem(const LineMeaning &meaning, ms now);
    void onEnterSent(const LineMeaning &meaning, ms now);
    void onEntered(const LineMeaning &meaning, ms now);
    void onWriteRetry(const LineMeaning &meaning, ms now);
    void onWriteFailed(const LineMeaning &meaning, ms now);
    void onWritten(const LineMeaning &meaning, ms now);
    void onDecision(const LineMeaning &meaning, ms now);
    void onNoFirmware(const LineMeaning &meaning, ms now);
    void onRowRefused(const LineMeaning &meaning, ms now);
    void onErasing(const LineMeaning &meaning, ms now);
    void onWriting(const LineMeaning &meaning, ms now);
    void onBlockRetry(const LineMeaning &meaning, ms now);
    void onMainRestarting(const LineMeaning &meaning, ms now);
    void onMainBack(const LineMeaning &meaning, ms now);
    void onMainLost(const LineMeaning &meaning, ms now);
    void onRebooting(const LineMeaning &meaning, ms now);
    void onRebootBegun(const LineMeaning &meaning, ms now);
    void onSettingVersion(const LineMeaning &meaning, ms now);
    void onNetStarted(const LineMeaning &meaning, ms now);
    void onNetInstalled(const LineMeaning &meaning, ms now);
    void onNetFailed(const LineMeaning &meaning, ms now);

    /** The next row of that name; a new one when there is none. */
    McuState &mcuNamed(const QString &name, ms now);
    /** The agent has reached this row, or has finished all of them. */
    void moveTo(int row, ms now);
    int findMcu(const QString &name) const;
    /** The row of that name that did not have this line in the present pass. */
    int findUnread(const LineMeaning &meaning) const;
    /** The next row whose turn to be written comes, -1 when there is none. */
    int nextRow() const;
    int addMcu(const QString &name);
    McuState *currentMcu();
    void finish(McuState &mcu, McuResult result, ms now);
    void beginWrite(McuState &mcu, ms now);

    QVector<McuState> m_mcus;
    /** The number of requested rows; later ones come from lines with unknown names. */
    int m_rowCount = 0;
    int m_current = -1;
    /** The last row whose turn to be written was seen; -1 while MCUs are read. */
    int m_passed = -1;
    /** Which row had which of the lines that begin a turn, in the present pass of reading. */
    QSet<QPair<int, QString>> m_begunReads;
    bool m_knowsRows = true;
    bool m_sawBeginning = true;
    bool m_isReading = true;
    bool m_mayHaveGap = false;
    RunPhase m_phase = RunPhase::Preparing;
    double m_percent = 0.0;
    bool m_succeeded = false;
    bool m_hasRebooted = false;
    bool m_hasWritten = false;
    ProblemId m_problem = ProblemId::None;
    /** The last line of each cause; that of `Unexplained` is the last one of all. */
    QMap<ProblemId, QString> m_problemLines;
    QString m_netVersion;
};

} // namespace client
