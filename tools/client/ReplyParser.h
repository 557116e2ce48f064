// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentReply.h"

#include <QByteArray>
#include <QVector>

#include <optional>

namespace client {

/**
 * Converts the agent's byte stream to replies, regardless of how the network split or merged them.
 * Most replies are lines; a block's answer is a binary frame without a line end. Texts are Latin-1.
 *
 * Memory is bounded by one line of `maxLine` bytes and the bytes of one call.
 */
class ReplyParser
{
public:
    /** More than any description of a package. */
    static constexpr int defaultMaxLine = 8 * 1024 * 1024;

    explicit ReplyParser(int maxLine = defaultMaxLine) : m_maxLine(maxLine) {}

    /** The replies that these bytes complete, in order. Bytes that are not a reply of the agent
     *  become Unknown or Overlong replies; there are no errors. */
    QVector<AgentReply> feed(const QByteArray &bytes);

    /** The number of bytes that wait for the rest of their reply. */
    int pending() const { return m_buffer.size() + m_listing.size(); }

private:
    /** Follows the braces of a description, which may extend over several lines. */
    struct Braces
    {
        int depth = 0;
        bool inString = false;
        bool escaped = false;

        void follow(const QByteArray &text);
    };

    bool takeOne();
    bool takeLine();
    bool takeFragment();
    bool takeFrame(int start);
    bool skipToLineEnd();
    void handleLine(const QByteArray &line);
    void handleKnown(AgentReply::Kind kind, const QByteArray &text);
    void handleUnknown(const QByteArray &line);
    void startListing(const QByteArray &text);
    void continueListing(const QByteArray &line);
    void endListing();
    void emitText(AgentReply::Kind kind, const QByteArray &text);

    const int m_maxLine;
    QByteArray m_buffer;
    /** Everything before it is parsed. */
    int m_position = 0;
    /** There is no line end between m_position and this position. */
    int m_searched = 0;
    bool m_skipping = false;
    /** A line without a key belongs to the log line before it. */
    bool m_inLog = false;
    QByteArray m_listing;
    Braces m_braces;
    QVector<AgentReply> m_replies;
};

} // namespace client
