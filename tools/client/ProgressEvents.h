// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/RunPicture.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QVector>

namespace client {

/**
 * A run as JSON objects for programs: one for each change of a chip or of the run, each retry, each
 * late answer, and progress once a second or at every tenth of the run.
 */
class ProgressEvents
{
public:
    /** The changes since the last call. */
    QVector<QJsonObject> changes(const RunPicture &picture);

private:
    using ms = std::chrono::milliseconds;

    struct Seen
    {
        McuPhase phase = McuPhase::Waiting;
        McuResult result = McuResult::Open;
        QString oldVersion;
        QString newVersion;
        int retries = 0;
    };

    void addPhase(QVector<QJsonObject> &events, const UpgradeModel &model);
    void addChips(QVector<QJsonObject> &events, const RunPicture &picture);
    void addProgress(QVector<QJsonObject> &events, const RunPicture &picture);
    void addWait(QVector<QJsonObject> &events, const RunPicture &picture);

    QVector<Seen> m_seen;
    RunPhase m_phase = RunPhase::Preparing;
    double m_percent = 0.0;
    ms m_progressAt{0};
    bool m_isWaiting = false;
    ms m_waitAt{0};
};

// The events of a run at one moment, without their times.

/** `row` counts from 0. */
QJsonObject chipEvent(const McuState &mcu, int row, std::chrono::milliseconds now);
QJsonObject progressEvent(const RunPicture &picture);
QJsonObject waitEvent(const AnswerWait &wait);
/** For programs: "set-version". */
QString phaseWord(RunPhase phase);

/** The event of a log line of the agent, with its text for people. */
QJsonObject messageEvent(const UpgradeModel &model, const QString &line);

/** The event with which a run begins: its chips as they were requested. */
QJsonObject runEvent(const UpgradeModel &model);

/** The MCUs of a run for the result: one object each, in the order of the rows. */
QJsonArray resultJson(const UpgradeModel &model, std::chrono::milliseconds now);

} // namespace client
