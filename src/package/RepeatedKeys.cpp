// SPDX-License-Identifier: Apache-2.0
#include "package/RepeatedKeys.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QVector>

namespace package {

namespace {

/** The limit of QJsonDocument, which stops parsing there. */
constexpr int deepestNesting = 1024;

/** A list or object that is open at the current position. */
struct Level
{
    bool isObject = false;
    bool expectsKey = false;
    bool keyIsRepeated = false;
    QString key;
    /** Whether the value of a key is a list or an object. */
    QHash<QString, bool> seen;
};

class Scanner
{
public:
    explicit Scanner(const QByteArray &json) : m_json(json) {}

    std::optional<QString> scan();

private:
    void readString();
    void readKey(const QByteArray &quoted);
    void openLevel(bool isObject);
    void closeLevel();

    const QByteArray &m_json;
    int m_position = 0;
    QVector<Level> m_levels;
    std::optional<QString> m_repeated;
};

std::optional<QString> Scanner::scan()
{
    for (; m_position < m_json.size() && !m_repeated; ++m_position) {
        switch (m_json.at(m_position)) {
        case '"':
            readString();
            break;
        case '{':
        case '[':
            if (m_levels.size() > deepestNesting)
                return std::nullopt;
            openLevel(m_json.at(m_position) == '{');
            break;
        case '}':
        case ']':
            closeLevel();
            break;
        case ',':
            if (!m_levels.isEmpty())
                m_levels.last().expectsKey = m_levels.last().isObject;
            break;
        default:
            break;
        }
    }
    return m_repeated;
}

/** Ends on the closing quote. */
void Scanner::readString()
{
    const int start = m_position;
    for (++m_position; m_position < m_json.size(); ++m_position) {
        const char byte = m_json.at(m_position);
        if (byte == '"')
            break;
        if (byte == '\\')
            ++m_position;
    }
    if (!m_levels.isEmpty() && m_levels.last().expectsKey)
        readKey(m_json.mid(start, m_position + 1 - start));
}

void Scanner::readKey(const QByteArray &quoted)
{
    Level &level = m_levels.last();
    // The parser decides which escaped keys are equal.
    level.key = QJsonDocument::fromJson('[' + quoted + ']').array().at(0).toString();
    level.expectsKey = false;
    level.keyIsRepeated = level.seen.contains(level.key);
    if (level.seen.value(level.key))
        m_repeated = level.key;
    level.seen.insert(level.key, false);
}

void Scanner::openLevel(bool isObject)
{
    if (!m_levels.isEmpty() && m_levels.last().isObject) {
        Level &parent = m_levels.last();
        if (parent.keyIsRepeated)
            m_repeated = parent.key;
        parent.seen.insert(parent.key, true);
    }
    Level level;
    level.isObject = isObject;
    level.expectsKey = isObject;
    m_levels.append(level);
}

void Scanner::closeLevel()
{
    if (!m_levels.isEmpty())
        m_levels.removeLast();
}

} // namespace

std::optional<QString> repeatedKey(const QByteArray &json)
{
    return Scanner(json).scan();
}

} // namespace package
