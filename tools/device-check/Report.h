// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Facts.h"
#include "device-check/Points.h"
#include "device-check/Runner.h"

#include <QJsonObject>
#include <QString>

namespace devicecheck {

/** The checks of one device, with everything that a report shows. */
struct Report
{
    /** How the device was reached. */
    QString address;
    /** The program with its version, and when it ran. */
    QString origin;
    Facts facts;
    QVector<Result> results;
    EarlyEnd end = EarlyEnd::None;
};

/** How many points of a level are in a state. */
int countOf(const Report &report, Level level, State state);
/** Whether every required point has passed; one that is about nothing in this device counts. */
bool hasPassed(const Report &report);
/** Whether blocks were written and the last image was not completed. */
bool isLeftHalfWritten(const Report &report);

/** Where the rule of a point is: "docs/reference/mcu-protocol.md#commands". */
QString referenceOf(const Point &point);
/** "Required points: 20 passed, 1 failed; recommended points: 7 passed." */
QString summaryText(const Report &report);
/** "The device does not pass: 1 required point failed." */
QString verdictText(const Report &report);
/** The chips with their versions: "0,0 (1.0.0), 1,0 (1.0)". */
QString chipsText(const Report &report);
QString modelText(const Facts &facts);
/** What came from an exchange that was not kept, or empty. */
QString unkeptText(const Result &result);

/** For a terminal. Failed points are shown with their frames, the others only when asked for. */
QString textReport(const Report &report, bool withFrames);
/** The members of the JSON document. */
QJsonObject jsonReport(const Report &report);
/** One page without scripts or other files. */
QString htmlReport(const Report &report);

// The list of all points, without a device.
QString textList();
QJsonObject jsonList();

} // namespace devicecheck
