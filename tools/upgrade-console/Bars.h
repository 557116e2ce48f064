// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <chrono>

/** The pieces of a progress line. */
namespace bars {

/** "[#####.....]", longer on a wide terminal. */
QString bar(double percent, int columns);
/** " 45 %" */
QString percent(double percent);
/** "5.1 KiB/s" of bytes per second. */
QString rate(double bytesPerSecond);
/** "1:05 left" */
QString left(std::chrono::seconds time);
/** "1 retry", "2 retries" */
QString retries(int count);
/** A name and a state, in columns. */
QString head(const QString &name, const QString &state);

} // namespace bars
