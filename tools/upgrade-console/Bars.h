// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/** The parts of a progress line. */
namespace bars {

/** "[#####.....]", longer on a wide terminal. */
QString bar(double percent, int columns);
/** The same, of a width that includes the brackets. */
QString barOf(double percent, int width);
/** " 45 %" */
QString percent(double percent);
/** "5.1 KiB/s" of bytes per second. */
QString rate(double bytesPerSecond);
/** "1 retry", "2 retries" */
QString retries(int count);
/** The text between two parts, and its width. */
const inline QString separator = QStringLiteral("  ");
constexpr int gap = 2;
/** A name and a state, in columns. */
QString head(const QString &name, const QString &state);
/** The text in lines of at most `width` characters, wrapped at blanks where there are any; lines
 *  from the second on begin with `indent` blanks. */
QStringList wrapped(const QString &text, int width, int indent = 0);

} // namespace bars
