// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandOutcome.h"
#include "device-check/LinkChannel.h"
#include "device-check/Options.h"
#include "device-check/Report.h"
#include "device-check/SimulatorProcess.h"

#include <optional>

/** The running program: from the options to the report. */
class DeviceCheck
{
public:
    /** `endSignals` is the descriptor of catchEndSignals(). */
    DeviceCheck(Options options, int endSignals);

    CommandOutcome run();

private:
    // What failed, or nothing.
    using Failure = std::optional<Problem>;

    Failure readImage();
    Failure confirm();
    Failure openLine();
    Failure openSimulator();
    Failure writeHtml(const devicecheck::Report &report) const;
    devicecheck::Report check();
    QString switchPower();
    CommandOutcome outcomeOf(const devicecheck::Report &report) const;

    Options m_options;
    int m_endSignals;
    QByteArray m_image;
    SimulatorProcess m_simulator;
    LinkChannel m_channel;
};
