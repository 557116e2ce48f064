// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/StepActions.h"
#include "protocol/Reply.h"

#include <QString>

#include <functional>

/** Drives the step table: the only place where the step changes. */
class StepMachine
{
public:
    /** `name` gives the name of the row that a step works on. */
    StepMachine(const StepContext &context, std::function<QString(Step)> name);

    Step step() const { return m_step; }

    /** Takes the line for an event, and those for what its action finds out. */
    void handle(Event event, const Reply &reply = Reply(QByteArray()));
    /** Runs an action that is asked for from outside of the table, and what follows from it. */
    void perform(Action action);

private:
    std::optional<Event> take(const Transition &line, const Reply &reply);
    void reportTrouble(const Transition &line, const QString &name, const QString &text);

    StepContext m_context;
    std::function<QString(Step)> m_name;
    Step m_step = Step::Idle;
    int m_attempt = 0;
};
