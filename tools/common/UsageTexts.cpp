// SPDX-License-Identifier: Apache-2.0
#include "common/UsageTexts.h"

#include <QRegularExpression>

#include <iterator>

namespace {

struct Rewording
{
    const char *pattern;
    /** With \1 and \2 for the pattern's groups. */
    const char *text;
};

// The parser's texts name types and counts, and not what is wrong.
constexpr Rewording rewordings[] = {
    {"^(.+) was given a disallowed flag override$", "--\\1 takes no value"},
    {"^(-.+): \\d+ required \\S+ missing$", "\\1 needs a value"},
    {"^(.+): At Most 1 required but received \\d+$", "\\1 may be given only once"},
    {"^Exactly 1 option from \\[(.+),(.+)\\] is required$", "\\1 or \\2 is required"},
    {"^Exactly 1 option from \\[(.+),(.+)\\] is required and \\d+ were given$",
     "only one of \\1 and \\2 may be given"},
    {"^(-.+) excludes (-.+)$", "only one of \\2 and \\1 may be given"},
};

} // namespace

QString usageText(const QString &parserText)
{
    for (const Rewording &rewording : rewordings) {
        const QRegularExpression pattern(QString::fromLatin1(rewording.pattern));
        if (pattern.match(parserText).hasMatch())
            return QString(parserText).replace(pattern, QString::fromLatin1(rewording.text));
    }
    return parserText;
}
