// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/ByteView.h"
#include "edid/EdidFacts.h"

#include <QString>
#include <QStringList>

namespace edid {

/** The report of a dump. Every entry ends in ",". */
struct Report
{
    /** Manufacturer letters, product name, "HDMI" or "DVI". */
    QString identification;
    /** Preferred timing, extension timings, short video descriptors. */
    QString timings;
    /** Audio descriptors. */
    QString extension;
};

Report writeReport(const Facts &facts);

/** The report for people, with more details; each line ends in "\r\n". There is always one. */
QStringList reportLines(const Facts &facts);

/** Header error, or the kind of dump and its checksum verdicts. */
QString statusText(const Facts &facts);

/** Two uppercase digits and a space for every byte. */
QString hexDump(ByteView bytes);

} // namespace edid
