// SPDX-License-Identifier: Apache-2.0
#include "fwm/JsonPlaces.h"

#include <nlohmann/json.hpp>

#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QVector>

#include <cctype>
#include <cstring>
#include <iterator>

namespace {

using nlohmann::json;

/** No request needs more; the parser's own functions may recurse. */
constexpr int deepestNesting = 32;

/** Reads bytes for the parser and notes how far it has read. */
class CountingIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char *;
    using reference = const char &;

    CountingIterator(const char *byte, const char **reached) : m_byte(byte), m_reached(reached) {}

    reference operator*() const { return *m_byte; }
    CountingIterator &operator++()
    {
        ++m_byte;
        *m_reached = m_byte;
        return *this;
    }
    bool operator==(const CountingIterator &other) const { return m_byte == other.m_byte; }
    bool operator!=(const CountingIterator &other) const { return m_byte != other.m_byte; }

private:
    const char *m_byte;
    const char **m_reached;
};

/** The parser's text without the position, which is reported on its own, and the text up to it. */
QString reasonOf(const std::exception &error)
{
    static const QRegularExpression lastRead(QStringLiteral("; last read: '.*'(?=; expected|\\z)"),
                                             QRegularExpression::DotMatchesEverythingOption);
    const QString text = QString::fromUtf8(error.what()).remove(lastRead);
    const int dash = text.indexOf(QLatin1String(" - "));
    return dash >= 0 ? text.mid(dash + 3) : text.section(QLatin1String(": "), 1);
}

/** An object or list that is open at the current position. */
struct Level
{
    QString path;
    /** Of the next element; -1 in an object. */
    int index = -1;
    QString key = {};
    QSet<QString> keys = {};
};

/** Receives the values in the order of the text. */
class Handler
{
public:
    explicit Handler(JsonPlaces &places)
        : m_places(&places), m_start(places.text.constData()), m_reached(m_start)
    {
    }

    CountingIterator begin() { return {m_start, &m_reached}; }
    CountingIterator end() { return {m_start + m_places->text.size(), &m_reached}; }

    // What the parser calls. A value ends where it has read to.
    bool null() { return addScalar(); }
    bool boolean(bool) { return addScalar(); }
    bool number_integer(json::number_integer_t) { return addScalar(); }
    bool number_unsigned(json::number_unsigned_t) { return addScalar(); }
    bool number_float(json::number_float_t, const std::string &) { return addScalar(); }
    bool string(std::string &) { return add(openingQuote()); }
    bool binary(json::binary_t &) { return false; }
    bool start_object(std::size_t) { return open(-1); }
    bool start_array(std::size_t) { return open(0); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(const std::string &name);
    bool parse_error(std::size_t position, const std::string &, const std::exception &error)
    {
        return fail(int(position) - 1, reasonOf(error));
    }

private:
    int reached() const { return int(m_reached - m_start); }
    int openingQuote() const;
    QString currentPath() const;
    bool add(int offset);
    bool addScalar();
    bool open(int firstIndex);
    bool close();
    bool fail(int offset, const QString &reason);

    JsonPlaces *m_places;
    const char *m_start;
    const char *m_reached;
    QVector<Level> m_levels;
};

bool Handler::fail(int offset, const QString &reason)
{
    m_places->error = reason;
    m_places->errorOffset = qBound(0, offset, m_places->text.size());
    return false;
}

/** Back from the closing quote, which was read last, to the first quote that is not escaped. */
int Handler::openingQuote() const
{
    int quote = reached() - 2;
    const auto isEscaped = [this](int position) {
        int backslashes = 0;
        while (position > backslashes && m_start[position - 1 - backslashes] == '\\')
            ++backslashes;
        return backslashes % 2 != 0;
    };
    while (m_start[quote] != '"' || isEscaped(quote))
        --quote;
    return quote;
}

QString Handler::currentPath() const
{
    if (m_levels.isEmpty())
        return {};
    const Level &level = m_levels.last();
    if (level.index >= 0)
        return level.path + QStringLiteral("[%1]").arg(level.index);
    return level.path.isEmpty() ? level.key : level.path + QLatin1Char('.') + level.key;
}

bool Handler::add(int offset)
{
    m_places->offsets.insert(currentPath(), offset);
    if (!m_levels.isEmpty() && m_levels.last().index >= 0)
        ++m_levels.last().index;
    return true;
}

/** A number or word, whose end the parser finds by reading one byte more than a number has. */
bool Handler::addScalar()
{
    const auto isPart = [this](int position) {
        return position >= 0 && (std::strchr("+-.", m_start[position]) != nullptr ||
                                 std::isalnum(static_cast<unsigned char>(m_start[position])) != 0);
    };
    int start = reached() - 1;
    if (!isPart(start))
        --start;
    while (isPart(start - 1))
        --start;
    return add(start);
}

bool Handler::open(int firstIndex)
{
    const int offset = reached() - 1;
    if (m_levels.size() == deepestNesting)
        return fail(offset, QStringLiteral("nested too deeply"));
    const QString path = currentPath();
    add(offset);
    m_levels.append({path, firstIndex});
    return true;
}

bool Handler::close()
{
    m_levels.removeLast();
    return true;
}

bool Handler::key(const std::string &name)
{
    Level &level = m_levels.last();
    level.key = QString::fromStdString(name);
    if (level.keys.contains(level.key))
        m_places->repeated.append(currentPath());
    level.keys.insert(level.key);
    return true;
}

} // namespace

QString JsonPlaces::lineAndColumn(int offset) const
{
    const QByteArray before = text.left(offset);
    const int line = 1 + before.count('\n');
    const int column = 1 + QString::fromUtf8(before.mid(before.lastIndexOf('\n') + 1)).size();
    return QStringLiteral("%1:%2").arg(line).arg(column);
}

int JsonPlaces::offsetOf(const QString &path) const
{
    QString known = path;
    while (!known.isEmpty() && !offsets.contains(known)) {
        const int dot = known.lastIndexOf(QLatin1Char('.'));
        const int bracket = known.lastIndexOf(QLatin1Char('['));
        known.truncate(qMax(0, qMax(dot, bracket)));
    }
    return offsets.value(known);
}

JsonPlaces readJsonPlaces(const QByteArray &text, JsonComments comments)
{
    JsonPlaces places;
    places.text = text;
    Handler handler(places);
    const bool withComments = comments == JsonComments::Allowed;
    if (!json::sax_parse(handler.begin(), handler.end(), &handler, json::input_format_t::json, true,
                         withComments))
        return places;
    const std::string plain =
        json::parse(text.begin(), text.end(), nullptr, true, withComments).dump();
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(plain));
    if (!document.isObject())
        places.error = QStringLiteral("the text is not an object");
    places.object = document.object();
    return places;
}
