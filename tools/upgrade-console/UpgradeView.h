// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/RunPicture.h"
#include "upgrade-console/Terminal.h"

#include <QStringList>
#include <QVector>

/**
 * The run as lines of a terminal: one for each MCU, the overall bar, and the late answer. Every
 * line is narrower than the terminal: bars shrink first, and long reasons are wrapped at blanks. If
 * there are more MCUs than lines, those around the current one are shown.
 */
QStringList liveLines(const client::RunPicture &picture, const Terminal &terminal);

/** The table at the end: old and new version, result and seconds of each MCU. */
QStringList resultTable(const client::UpgradeModel &model, std::chrono::milliseconds now,
                        const Style &style);

/** Columns as wide as their widest cell, two blanks between them; `right` names those to the right.
 */
QStringList alignedTable(const QVector<QStringList> &rows, const QVector<int> &right);

/** The changes since the last call, as plain lines; every tenth of the run with its time. */
class ChangeLines
{
public:
    QStringList next(const client::RunPicture &picture);

private:
    struct Seen
    {
        client::McuPhase phase = client::McuPhase::Waiting;
        client::McuResult result = client::McuResult::Open;
        int retries = 0;
    };

    void addChanges(QStringList &lines, const client::UpgradeModel &model);
    void addPercent(QStringList &lines, const client::RunPicture &picture);

    QVector<Seen> m_seen;
    int m_tenth = 0;
    bool m_isWaiting = false;
    client::RunPhase m_phase = client::RunPhase::Preparing;
};
