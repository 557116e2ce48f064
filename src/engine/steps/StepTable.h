// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/Steps.h"

#include <QMetaEnum>

#include <optional>
#include <vector>

namespace protocol {
class Reply;
} // namespace protocol

namespace engine {

struct StepContext;

/** The returned event is handled at once; without one the engine waits. */
using Action = std::optional<Event> (*)(StepContext &context, const protocol::Reply &reply);

/** One line of the table: step, event, text to report, next step and action. */
struct Transition
{
    enum class Kind {
        Normal,
        /** A run begins: tries are counted from 0. */
        Start,
        /** The step's command is repeated. */
        Retry,
        /** The step did not get its answer. */
        GivenUp,
    };
    static constexpr int anyTry = -1;

    Step step;
    Event event;
    /** The try for which the line is valid, 0 for the first; `anyTry` for all. */
    int attempt;
    /** "%1" is the name of the step's row; an empty text is not reported. */
    const char *text;
    Step next;
    Action action;
    Kind kind;
    /** For a retry: 1 for the second try. */
    int retry;
};

/** All lines, in the order of a run. */
const std::vector<Transition> &stepTable();

/** The line for an event, or null when the step does not expect it. */
const Transition *findTransition(Step step, Event event, int attempt);

/** Every value of an enumeration of this namespace, in the order of its definition. */
template<typename Enumeration>
std::vector<Enumeration> allOf()
{
    const QMetaEnum meta = QMetaEnum::fromType<Enumeration>();
    std::vector<Enumeration> values;
    values.reserve(std::size_t(meta.keyCount()));
    for (int i = 0; i < meta.keyCount(); ++i)
        values.push_back(Enumeration(meta.value(i)));
    return values;
}

/** The name of a step or an event, as the source spells it. */
template<typename Enumeration>
const char *nameOf(Enumeration value)
{
    return QMetaEnum::fromType<Enumeration>().valueToKey(int(value));
}

} // namespace engine
