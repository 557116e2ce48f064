// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/**
 * Cuts one client's text into request lines, looking at each character once.
 *
 * Only a carriage return separates lines. A read that ends with a line feed ends its last line too,
 * so that a client that sends bare line feeds is answered, but line feeds inside a read do not
 * separate. Lines come out trimmed; empty ones are dropped.
 */
class LineFramer
{
public:
    struct Result
    {
        QStringList lines;
        /** A line without an end grew beyond the limit and was dropped. */
        bool overflow = false;
    };

    /** `limit` is the length of an unfinished line, in characters. */
    explicit LineFramer(int limit) : m_limit(limit) {}

    /** Takes the text of one read. */
    Result feed(const QString &text);

    /** The unfinished line, untrimmed. */
    QString rest() const { return m_rest; }
    /** Its length in characters. */
    int restSize() const { return m_rest.size(); }
    void dropRest() { m_rest = QString(); }

private:
    void finishLine(QStringList &lines, const QStringRef &end);

    int m_limit;
    QString m_rest;
};
