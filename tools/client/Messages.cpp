// SPDX-License-Identifier: Apache-2.0
#include "client/Messages.h"

#include "protocol/ConsoleTexts.h"
#include "protocol/MessageKeys.h"

#include <iterator>

namespace consoletext = protocol::consoletext;

namespace client {

namespace {

/** A text split at its places: "'%1' is %2." becomes "'", "' is ", ".". */
struct Template
{
    QStringList pieces;
    const MessageRow *row = nullptr;
};

Template cutTemplate(const MessageRow &row)
{
    Template result;
    result.row = &row;
    const QString text = lineOf(row);
    QString piece;
    for (int i = 0; i < text.size(); ++i) {
        const bool isPlace =
            text.at(i) == QLatin1Char('%') && i + 1 < text.size() && text.at(i + 1).isDigit();
        if (!isPlace) {
            piece += text.at(i);
            continue;
        }
        result.pieces += piece;
        piece.clear();
        ++i;
    }
    result.pieces += piece;
    return result;
}

const std::vector<Template> &templates()
{
    static const std::vector<Template> all = [] {
        std::vector<Template> cut;
        cut.reserve(messageTable().size());
        for (const MessageRow &row : messageTable())
            cut.push_back(cutTemplate(row));
        return cut;
    }();
    return all;
}

bool fits(const Template &wanted, const QString &line, QStringList &values)
{
    const QStringList &pieces = wanted.pieces;
    if (pieces.size() == 1)
        return line == pieces.first();
    const QString &last = pieces.last();
    if (!line.startsWith(pieces.first()) || !line.endsWith(last))
        return false;
    const int end = line.size() - last.size();
    int from = pieces.first().size();
    for (int i = 1; i + 1 < pieces.size(); ++i) {
        const int found = line.indexOf(pieces.at(i), from);
        if (found < 0 || found + pieces.at(i).size() > end)
            return false;
        values += line.mid(from, found - from);
        from = found + pieces.at(i).size();
    }
    if (from > end)
        return false;
    values += line.mid(from, end - from);
    return true;
}

/** Some operations mark their lines with a separate key. */
QString withoutKey(const QString &line)
{
    const QString first = line.section(consoletext::separator, 0, 0);
    for (const char *key :
         {protocol::key::readProductInfo, protocol::key::mergeFirmware, protocol::key::mergeNet}) {
        if (first == QLatin1String(key) && first.size() < line.size())
            return line.section(consoletext::separator, 1);
    }
    return line;
}

} // namespace

QString lineOf(const MessageRow &row)
{
    QString line = QString::fromLatin1(row.text);
    if (line.startsWith(consoletext::logKey))
        line.remove(0, consoletext::logKey.size());
    if (line.endsWith(consoletext::lineEnd))
        line.chop(consoletext::lineEnd.size());
    return line;
}

QString adviceOf(const MessageRow &row)
{
    return QString::fromLatin1(row.advice == nullptr ? problemRow(row.cause).advice : row.advice);
}

LineMeaning meaningOf(const QString &line)
{
    const QString text = withoutKey(line);
    for (const Template &wanted : templates()) {
        QStringList values;
        if (fits(wanted, text, values))
            return {QString::fromLatin1(wanted.row->id), wanted.row->event, wanted.row->cause,
                    values, wanted.row};
    }
    return {};
}

LineEvent eventOf(const AgentReply &reply)
{
    return reply.kind == AgentReply::Kind::Log ? meaningOf(reply.text).event : LineEvent::Unknown;
}

} // namespace client
