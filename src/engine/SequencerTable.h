// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFlags>

#include <vector>

class ControlCenter;

/** What can end the wait of a step. */
enum class Event {
    /** The reply to the step's command. */
    Answer = 1,
    /** A reply that says no: an extended frame where an ordinary one is due, or a bad status. */
    Refusal = 2,
    /** A reply without the bytes that the step needs. */
    ShortAnswer = 4,
    /** No reply within the time-out. A command that could not be sent ends so, too. */
    Silence = 8,
};
Q_DECLARE_FLAGS(Events, Event)
Q_DECLARE_OPERATORS_FOR_FLAGS(Events)

/** One line of the sequencer: in this step, on these events, say this, become that, do so. */
struct Transition
{
    static constexpr int anyCount = -1;

    int step;
    Events events;
    /** The retry counter at which the line holds; taking it counts one more. */
    int count;
    /** "%1" is the name of the row that the step works on; empty says nothing. */
    const char *text;
    int next;
    void (ControlCenter::*action)();
};

/** All lines of the sequencer, sorted by the order of a run. */
const std::vector<Transition> &sequencerTable();

/** The line for an event, or null when the step does not await it. */
const Transition *findTransition(int step, Event event, int count);

/** What the line tries once more: 1 for the second try. 0 for a line that repeats nothing. */
int retryOf(const Transition &line);

/** True when the step did not get what it awaited, and is repeated or given up. */
bool isTrouble(const Transition &line);

/** The command word whose reply a step awaits; -1 for a step that awaits none. */
int awaitedWord(int step);
