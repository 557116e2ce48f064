// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

namespace monitoring {

/**
 * One line of the operations log: `event=NAME` and further `key=value` pairs, separated by blanks.
 * A value that is not one plain word is put in double quotes. Text from a peer cannot end its
 * quotes: all but printable ASCII is escaped as in JSON, and long values are truncated.
 */
class LogLine
{
public:
    /** Characters of a value; a longer one is truncated and ends in three dots. */
    static constexpr int longestValue = 160;

    explicit LogLine(const char *event);

    LogLine &add(const char *key, const QString &value);
    LogLine &add(const char *key, qint64 value);
    /** Leaves the pair out when there is no value. */
    LogLine &addIfAny(const char *key, const QString &value);
    /** With one decimal. */
    LogLine &addSeconds(const char *key, qint64 milliseconds);

    const QString &text() const { return m_text; }

private:
    LogLine &addPlain(const char *key, const QString &value);

    QString m_text;
};

} // namespace monitoring
