// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

namespace protocol {

/**
 * A text that leaves the agent, or is compared with one that does, and its name in the source.
 *
 * Each subsystem has its texts in a file of lines WIRE_TEXT(id, "text"). Its header includes
 * WireTable.inc, which makes a constant of each line, and a table of all of them: what is not in
 * the table does not exist.
 */
struct WireText
{
    const char *id;
    /** Places for values are %1, %2, ... */
    const char *text;
};

/** A text with its places filled in, all at once: a name may itself hold a percent sign. */
inline QString filled(const char *text)
{
    return QString::fromLatin1(text);
}

template<typename... Values>
QString filled(const char *text, const Values &...values)
{
    return QString::fromLatin1(text).arg(values...);
}

} // namespace protocol
