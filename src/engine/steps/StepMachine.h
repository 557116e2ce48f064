// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/StepTable.h"
#include "protocol/Reply.h"

#include <QString>

#include <functional>

namespace engine {

class EngineOutput;
class RunReporter;

/** Drives the step table: the only place where the step changes. */
class StepMachine
{
public:
    /** What the machine works with. */
    struct Parts
    {
        const EngineOutput &output;
        RunReporter &report;
        /** The name of a step's row. */
        std::function<QString(Step step)> rowName;
        /** Runs an action; returns the event that follows, or none. */
        std::function<std::optional<Event>(Action action, const protocol::Reply &reply)> run;
    };

    explicit StepMachine(const Parts &parts) : m_parts(parts) {}

    Step step() const { return m_step; }

    /** Handles an event, and those that its action returns. */
    void handle(Event event, const protocol::Reply &reply = protocol::Reply(QByteArray()));
    /** Runs an action that is not started by the table, and handles what follows. */
    void perform(Action action);

private:
    std::optional<Event> take(const Transition &line, const protocol::Reply &reply);
    void reportFailure(const Transition &line, const QString &name, const QString &text);

    Parts m_parts;
    Step m_step = Step::Idle;
    int m_attempt = 0;
};

} // namespace engine
