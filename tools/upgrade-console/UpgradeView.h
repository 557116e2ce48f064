// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/AnswerWatch.h"
#include "upgrade-console/Terminal.h"
#include "upgrade-console/TimeEstimate.h"
#include "upgrade-console/UpgradeModel.h"

#include <QJsonArray>
#include <QStringList>
#include <QVector>

/** A run at one moment. */
struct RunPicture
{
    const UpgradeModel &model;
    const TimeEstimate &estimate;
    /** The answer that is late, if one is; no time left is shown then. */
    std::optional<AnswerWait> wait;
    std::chrono::milliseconds now{0};
    /** When the run was asked for. */
    std::chrono::milliseconds started{0};
};

/**
 * The run as lines of a terminal: one for each MCU, the overall bar, and what is waited for. No
 * line is wider than the terminal less one: bars shrink first, and long reasons are wrapped at
 * blanks. Where there are more MCUs than lines, those around the one at work are shown.
 */
QStringList liveLines(const RunPicture &picture, const Terminal &terminal);

/** The table at the end: old and new version, result and seconds of each MCU. */
QStringList resultTable(const UpgradeModel &model, std::chrono::milliseconds now,
                        const Style &style);

QJsonArray resultJson(const UpgradeModel &model, std::chrono::milliseconds now);

/** Columns as wide as their widest cell, two blanks between them; `right` names those to the right.
 */
QStringList alignedTable(const QVector<QStringList> &rows, const QVector<int> &right);

/** What changed since the last look, as plain lines; every tenth of the run with its time. */
class ChangeTeller
{
public:
    QStringList changes(const RunPicture &picture);

private:
    struct Seen
    {
        McuPhase phase = McuPhase::Waiting;
        McuResult result = McuResult::Open;
        int retries = 0;
    };

    void addChanges(QStringList &lines, const UpgradeModel &model);
    void addPercent(QStringList &lines, const RunPicture &picture);

    QVector<Seen> m_seen;
    int m_tenth = 0;
    bool m_isWaiting = false;
    RunPhase m_phase = RunPhase::Preparing;
};
