// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Facts.h"
#include "device-check/Step.h"

#include <QString>
#include <QVector>

namespace devicecheck {

/** Required: without it the agent cannot upgrade the device safely. Recommended: the agent copes,
 *  but slower, or with less certainty. */
enum class Level { Required, Recommended };

struct Result;

/** One rule of docs/reference/mcu-protocol.md, and how it is checked. */
struct Point
{
    /** For scripts; it never changes. */
    const char *id;
    Level level;
    /** Whether its steps write to the device; the others only read. */
    bool isWriting;
    /** The heading of the page that has the rule, as an anchor. */
    const char *section;
    /** The point without which this one says nothing; empty for none. */
    const char *needs;
    /** One sentence, without a full stop. */
    const char *rule;
    /** The exchanges; none when the device has nothing that the rule is about. */
    QVector<Step> (*steps)(const Facts &facts);
    /** For a rule about all exchanges: what broke it, or nothing. It has no steps. */
    QString (*judge)(const QVector<Result> &results) = nullptr;
    /** Why there are no exchanges, for a rule that is not about every device. */
    const char *absence = "";
};

enum class State { Passed, Failed, NotTested, NotApplicable };

/** What became of a point. */
struct Result
{
    const Point *point = nullptr;
    State state = State::NotTested;
    /** Why it failed or was not tested. */
    QString reason;
    /** The exchanges in their order; a failed one is the last one. */
    QVector<Exchange> exchanges;
    /** Exchanges that passed and were not kept, since they are like the others. */
    int unkept = 0;
};

/** Every point, in the order in which they are checked. */
const QVector<Point> &points();
/** "required", "recommended". */
const char *levelName(Level level);
/** "passed", "failed", "not-tested", "not-applicable". */
const char *stateName(State state);

} // namespace devicecheck
