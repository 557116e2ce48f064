// SPDX-License-Identifier: Apache-2.0
#include "client/ReplyParser.h"

#include "netupgrade/NetTexts.h"
#include "protocol/ConsoleTexts.h"
#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace consoletext = protocol::consoletext;
namespace mcu = protocol::mcu;
namespace nettext = netupgrade::nettext;
using protocol::Reply;

namespace client {

namespace {

using Kind = AgentReply::Kind;

struct Key
{
    QByteArray word;
    Kind kind;
    /** The word is the whole line. */
    bool whole;
};

QByteArray trimmedBytes(QLatin1String word)
{
    return QByteArray{word.data(), word.size()}.trimmed();
}

/** The most frequent keys are first. */
const std::vector<Key> &keys()
{
    static const std::vector<Key> all = {
        {trimmedBytes(consoletext::logKey), Kind::Log, false},
        {trimmedBytes(consoletext::progressKey), Kind::Progress, false},
        {trimmedBytes(consoletext::heartbeat), Kind::Heartbeat, true},
        {trimmedBytes(consoletext::versionKey), Kind::Version, false},
        {trimmedBytes(consoletext::netVersionKey), Kind::NetVersion, false},
        {trimmedBytes(consoletext::firmwareListKey), Kind::FirmwareList, false},
        {trimmedBytes(consoletext::edidResultKey), Kind::EdidReport, false},
        {trimmedBytes(consoletext::parseEdid) + trimmedBytes(consoletext::separator),
         Kind::EdidError, false},
        {trimmedBytes(consoletext::connectSuccess), Kind::Connected, true},
        {trimmedBytes(consoletext::disconnected), Kind::Disconnected, true},
        {trimmedBytes(consoletext::upgradeSuccess), Kind::UpgradeSuccess, true},
        {trimmedBytes(consoletext::upgradeFail), Kind::UpgradeFail, true},
    };
    return all;
}

const QByteArray &fragmentKey()
{
    static const QByteArray key = trimmedBytes(consoletext::fragmentKey);
    return key;
}

/** The longest answer of a receiver of blocks. */
constexpr int maxFrameLength = 300;

const Key *findKey(const QByteArray &line)
{
    const auto found = std::find_if(keys().begin(), keys().end(), [&](const Key &key) {
        return key.whole ? line == key.word : line.startsWith(key.word);
    });
    return found == keys().end() ? nullptr : &*found;
}

/** Whether the rest of `bytes` is the beginning of `whole`. */
bool mayBecome(const QByteArray &bytes, const QByteArray &whole)
{
    return bytes.size() < whole.size() && whole.startsWith(bytes);
}

AgentReply statusOf(const QByteArray &frame)
{
    AgentReply reply;
    const Reply parts(frame);
    if (mcu::byteSum(frame) == 0 && parts.isExtended() && parts.has(mcu::resultOffset)) {
        reply.kind = Kind::ModuleStatus;
        reply.word = parts.word();
        reply.status = parts.at(mcu::resultOffset);
    } else {
        reply.text = QString::fromLatin1(frame.toHex(' '));
    }
    return reply;
}

} // namespace

QString replyKindName(AgentReply::Kind kind)
{
    static const char *const names[] = {
        "heartbeat", "version",     "firmware-list", "log",          "progress", "net-version",
        "edid",      "edid-error",  "connected",     "disconnected", "success",  "fail",
        "module",    "module-text", "unknown",       "overlong",
    };
    return QString::fromLatin1(names[int(kind)]);
}

void ReplyParser::Braces::follow(const QByteArray &text)
{
    for (const char character : text) {
        if (escaped)
            escaped = false;
        else if (inString && character == '\\')
            escaped = true;
        else if (character == '"')
            inString = !inString;
        else if (!inString && (character == '{' || character == '['))
            ++depth;
        else if (!inString && (character == '}' || character == ']'))
            --depth;
    }
}

QVector<AgentReply> ReplyParser::feed(const QByteArray &bytes)
{
    m_replies.clear();
    m_buffer += bytes;
    while (takeOne()) {
    }
    m_buffer.remove(0, m_position);
    m_searched = std::max(0, m_searched - m_position);
    m_position = 0;
    if (m_buffer.size() > m_maxLine) {
        m_buffer.clear();
        m_searched = 0;
        m_skipping = true;
        emitText(Kind::Overlong, {});
    }
    return std::exchange(m_replies, {});
}

bool ReplyParser::takeOne()
{
    if (m_position >= m_buffer.size())
        return false;
    if (m_skipping)
        return skipToLineEnd();
    const QByteArray rest =
        QByteArray::fromRawData(m_buffer.constData() + m_position, m_buffer.size() - m_position);
    if (mayBecome(rest, fragmentKey()))
        return false;
    return rest.startsWith(fragmentKey()) ? takeFragment() : takeLine();
}

bool ReplyParser::takeLine()
{
    const int end = m_buffer.indexOf('\n', std::max(m_position, m_searched));
    if (end < 0) {
        m_searched = m_buffer.size();
        return false;
    }
    QByteArray line = m_buffer.mid(m_position, end - m_position);
    m_position = end + 1;
    m_searched = m_position;
    if (line.size() > m_maxLine) {
        emitText(Kind::Overlong, {});
        return true;
    }
    if (line.endsWith('\r'))
        line.chop(1);
    handleLine(line);
    return true;
}

bool ReplyParser::skipToLineEnd()
{
    const int end = m_buffer.indexOf('\n', m_position);
    m_skipping = end < 0;
    m_position = end < 0 ? m_buffer.size() : end + 1;
    return !m_skipping;
}

/** After its key a fragment is a frame or one of two words; no line end follows either. */
bool ReplyParser::takeFragment()
{
    const int start = m_position + fragmentKey().size();
    if (start >= m_buffer.size())
        return false;
    if (quint8(m_buffer.at(start)) == mcu::moduleReplyStart)
        return takeFrame(start);
    const QByteArray rest = m_buffer.mid(start, nettext::upgradingFalse().size());
    for (const QByteArray &word : {nettext::upgradingTrue(), nettext::upgradingFalse()}) {
        if (mayBecome(rest, word))
            return false;
        if (rest.startsWith(word)) {
            emitText(Kind::ModuleText, word);
            m_position = start + word.size();
            return true;
        }
    }
    m_position = start;
    return takeLine();
}

bool ReplyParser::takeFrame(int start)
{
    if (start + mcu::uncounted > m_buffer.size())
        return false;
    const int length = quint8(m_buffer.at(start + mcu::lengthOffset)) +
                       256 * quint8(m_buffer.at(start + mcu::lengthOffset + 1));
    if (length < mcu::emptyLength || length > maxFrameLength) {
        emitText(Kind::Unknown, m_buffer.mid(start, mcu::uncounted).toHex(' '));
        m_position = start + mcu::uncounted;
        return true;
    }
    const int size = length + mcu::uncounted;
    if (start + size > m_buffer.size())
        return false;
    m_replies.append(statusOf(m_buffer.mid(start, size)));
    m_position = start + size;
    m_inLog = false;
    return true;
}

void ReplyParser::handleLine(const QByteArray &line)
{
    const Key *key = findKey(line);
    if (key == nullptr) {
        handleUnknown(line);
        return;
    }
    if (!m_listing.isEmpty())
        endListing();
    m_inLog = key->kind == Kind::Log;
    handleKnown(key->kind, line.mid(key->word.size()));
}

void ReplyParser::handleKnown(AgentReply::Kind kind, const QByteArray &text)
{
    if (kind == Kind::FirmwareList) {
        startListing(text);
        return;
    }
    if (kind != Kind::Progress) {
        emitText(kind, text);
        return;
    }
    AgentReply reply;
    bool isNumber = false;
    const double percent = text.toDouble(&isNumber);
    const bool isUsable = isNumber && std::isfinite(percent);
    reply.kind = isUsable ? kind : Kind::Unknown;
    reply.percent = isUsable ? percent : 0.0;
    reply.text = QString::fromLatin1(text);
    m_replies.append(reply);
}

void ReplyParser::handleUnknown(const QByteArray &line)
{
    if (!m_listing.isEmpty())
        continueListing(line);
    else if (!line.isEmpty())
        emitText(m_inLog ? Kind::Log : Kind::Unknown, line);
}

void ReplyParser::startListing(const QByteArray &text)
{
    m_braces = Braces();
    m_braces.follow(text);
    m_listing = text;
    if (m_braces.depth <= 0)
        endListing();
}

void ReplyParser::continueListing(const QByteArray &line)
{
    if (m_listing.size() + line.size() > m_maxLine) {
        m_listing.clear();
        emitText(Kind::Overlong, {});
        return;
    }
    m_listing += '\n' + line;
    m_braces.follow(line);
    if (m_braces.depth <= 0)
        endListing();
}

void ReplyParser::endListing()
{
    emitText(Kind::FirmwareList, std::exchange(m_listing, {}));
}

void ReplyParser::emitText(AgentReply::Kind kind, const QByteArray &text)
{
    AgentReply reply;
    reply.kind = kind;
    reply.text = QString::fromLatin1(text);
    m_replies.append(reply);
}

} // namespace client
