// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Channel.h"
#include "device-check/Facts.h"
#include "device-check/Points.h"

#include <QVector>

#include <functional>
#include <optional>

namespace devicecheck {

class StepWatch;

/** Why the checks ended before the last point. */
enum class EarlyEnd { None, LinkLost, Interrupted };

/** What the user has decided. */
struct RunSettings
{
    /** The chips of the device beside the main MCU and those that its record names. */
    QVector<Chip> chips;
    bool isWriting = false;
    /** None for the main MCU. */
    std::optional<Chip> target;
    QByteArray image;
    /** 2 or 3 numbers; empty when they are not known. */
    QByteArray imageVersion;
    /** 0 when the line has no speed. */
    int baudRate = 0;
};

/** Carries out the checks of a device over a channel. Every wait has a limit. */
class Runner
{
public:
    /** Switches the power off and on; the reason why it did not, or empty. */
    using PowerSwitch = std::function<QString()>;
    using Progress = std::function<void(const Point &point)>;

    /** Without a power switch the points that need one are not tested. */
    Runner(Channel &channel, RunSettings settings, PowerSwitch powerSwitch, Progress progress);

    /** One result for each point, in the order of the table. */
    QVector<Result> run();
    const Facts &facts() const { return m_facts; }
    EarlyEnd earlyEnd() const { return m_end; }

private:
    Result check(const Point &point, const QVector<Result> &before);
    QString reasonNotToTest(const Point &point, const QVector<Result> &before) const;
    void perform(const QVector<Step> &steps, Result &result);
    Exchange perform(const Step &step);
    Exchange attempt(Step step);
    /** Waits for the answers until then. */
    void receive(StepWatch &watch, milliseconds until);
    void pauseFor(StepWatch &watch, milliseconds time);
    void dropOldBytes();
    milliseconds now() const { return m_channel.now() - m_start; }

    void learn();
    void learnChips();
    void learnChip(Chip chip);
    void addChip(Chip chip);
    /** The data of an answer as expected; empty for any other. */
    QByteArray dataOf(const Step &step);

    Channel &m_channel;
    const RunSettings m_settings;
    const PowerSwitch m_powerSwitch;
    const Progress m_progress;
    Facts m_facts;
    milliseconds m_start{0};
    /** What was asked before the first point that asks it, by the text of the step. */
    QMap<QString, Exchange> m_learned;
    /** Of all answers so far. */
    milliseconds m_slowestAnswer{0};
    EarlyEnd m_end = EarlyEnd::None;
};

} // namespace devicecheck
