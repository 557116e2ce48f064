// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <optional>
#include <utility>

namespace console {

/**
 * Splits one client's text into request lines, reading each character once, and keeps those that
 * have not been taken yet.
 *
 * Only a carriage return separates lines. A read that ends with a line feed ends its last line too,
 * so that a client that sends bare line feeds is answered, but line feeds inside a read do not
 * separate. Lines come out trimmed; empty ones are dropped.
 */
class LineFramer
{
public:
    /** `limit` is the length of an unfinished line, in characters. */
    explicit LineFramer(int limit) : m_limit(limit) {}

    /** Takes the text of one read, once all lines of the previous read have been taken: the end of
     *  a read has a meaning. */
    void feed(const QString &text);

    /** The next line, the same one until it is taken; null when the read has no more. */
    const QString *next();
    void take() { m_next.reset(); }

    /** Whether an unfinished line has exceeded the limit, and was dropped, since the last call. */
    bool takeOverflow() { return std::exchange(m_overflow, false); }

    /** The unfinished line, untrimmed. */
    QString rest() const { return m_rest; }
    /** The number of characters in lines that have not been taken and in the unfinished one. */
    int size() const { return int(m_rest.size() + m_read.size()); }
    /** Drops all of them. */
    void drop();

private:
    void cutNext();
    void endRead();
    void finishLine(const QChar *end, int length);

    int m_limit;
    QString m_rest;
    /** The last read while it has lines left, and the start of the next one. */
    QString m_read;
    int m_start = 0;
    std::optional<QString> m_next;
    bool m_overflow = false;
};

} // namespace console
