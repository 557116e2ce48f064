// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/** A wire text with its places filled in, all at once: a name may itself hold a percent sign. */
inline QString filled(const char *text)
{
    return QString::fromLatin1(text);
}

template<typename... Values>
QString filled(const char *text, const Values &...values)
{
    return QString::fromLatin1(text).arg(values...);
}
