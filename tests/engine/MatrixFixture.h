// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/Disturbance.h"
#include "engine/Scenario.h"

/** The real engine over the simulated device, in one case of the failure matrix. */
class MatrixFixture
{
public:
    explicit MatrixFixture(const Disturbance &disturbance);

    /** Runs the chain to its end. False when it does not end, or the engine is not idle after it.
     */
    bool run();
    /** An undisturbed upgrade after it; every row must be written. */
    bool upgradeAgain();

    bool isUpgrade() const;

    /** The transcript. It omits an erasing line after the end of a failed run, which only results
     *  from the progress going back to 0. */
    QStringList lines() const;
    QStringList frames() const;
    QString results() const { return m_scenario.results(matrix::rowCount); }

    /** Empty when every row that counts as written holds its image. */
    QString wrongFlash() const;

private:
    Command commandOf(const QByteArray &frame) const;
    bool isMet(const QByteArray &frame) const;
    bool failNow(const QByteArray &frame);
    QList<QByteArray> answer(const QByteArray &frame);
    QList<QByteArray> troubled(const QByteArray &frame);

    Disturbance m_disturbance;
    int m_met = 0;
    QByteArray m_held;
    bool m_hasHeld = false;
    bool m_nextIsSilent = false;
    Scenario m_scenario;
};
