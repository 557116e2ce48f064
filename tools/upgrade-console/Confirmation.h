// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/ProgressDisplay.h"

#include <QObject>
#include <QSocketNotifier>

/**
 * The question before an upgrade in mode 5, which omits the checks against a wrong package: only an
 * explicit answer confirms it.
 */
class Confirmation : public QObject
{
    Q_OBJECT

public:
    explicit Confirmation(ProgressDisplay &display);

    /** Whether there is a terminal for the question. */
    static bool canAsk();
    /** Returns at once; answered() follows. */
    void ask();

signals:
    void answered(bool isConfirmed);

private:
    void onAnswer();

    ProgressDisplay &m_display;
    QSocketNotifier m_input;
};
