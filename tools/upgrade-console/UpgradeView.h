// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Terminal.h"
#include "upgrade-console/UpgradeModel.h"

#include <QJsonArray>
#include <QStringList>
#include <QVector>

/**
 * The run as lines of a terminal: one for each MCU and the overall bar. No line is wider than the
 * terminal less one; where there are more MCUs than lines, those around the one at work are shown.
 */
QStringList liveLines(const UpgradeModel &model, std::chrono::milliseconds now,
                      const Terminal &terminal);

/** The table at the end: old and new version, result and seconds of each MCU. */
QStringList resultTable(const UpgradeModel &model, std::chrono::milliseconds now,
                        const Style &style);

QJsonArray resultJson(const UpgradeModel &model, std::chrono::milliseconds now);

/** Columns as wide as their widest cell, two blanks between them; `right` names those to the right.
 */
QStringList alignedTable(const QVector<QStringList> &rows, const QVector<int> &right);

/** Tells what changed since the last look, as plain lines. */
class ChangeTeller
{
public:
    QStringList changes(const UpgradeModel &model);

private:
    struct Seen
    {
        McuPhase phase = McuPhase::Waiting;
        McuResult result = McuResult::Open;
        int retries = 0;
    };

    QVector<Seen> m_seen;
    RunPhase m_phase = RunPhase::Preparing;
};
