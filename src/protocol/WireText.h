// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

namespace protocol {

/**
 * A text that the agent sends or compares with one it sends, and its name in the source.
 *
 * Each subsystem has its texts in a file of lines WIRE_TEXT(id, "text"). Its header includes
 * WireTable.inc, which defines a constant for each line, and a table of all of them.
 */
struct WireText
{
    const char *id;
    /** Places for values are %1, %2, ... */
    const char *text;
};

/** A text with its places filled in, all at once, since a value may contain a percent sign. */
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
