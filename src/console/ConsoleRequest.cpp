// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleRequest.h"

#include "planning/UpgradeMode.h"
#include "protocol/ConsoleTexts.h"

#include <algorithm>
#include <array>

namespace consoletext = protocol::consoletext;
namespace upgradeMode = planning::upgradeMode;

namespace console {

namespace {

using Command = ConsoleRequest::Command;

struct Word
{
    QLatin1String text;
    Command command;
};

// The order decides where a line holds several words.
constexpr std::array<Word, 8> words{{
    {consoletext::heartbeat, Command::Heartbeat},
    {consoletext::getFirmwareList, Command::FirmwareList},
    {consoletext::upgradeMode, Command::UpgradeMode},
    {consoletext::upgrade, Command::Upgrade},
    {consoletext::upgradeAll, Command::UpgradeAll},
    {consoletext::getVersionInformation, Command::UpgradeAll},
    {consoletext::version, Command::Version},
    {consoletext::netUpgrade, Command::NetUpgrade},
}};

constexpr int smallestRow = 3;
constexpr int addressParts = 4;

Command commandOf(const QString &line)
{
    const auto *const found = std::find_if(
        words.begin(), words.end(), [&](const Word &word) { return line.contains(word.text); });
    return found == words.end() ? Command::Unknown : found->command;
}

/** Most lines are a single word, which needs no copy. */
QStringList partsOf(const QString &line)
{
    return line.contains(consoletext::separator) ? line.split(consoletext::separator)
                                                 : QStringList(line);
}

} // namespace

ConsoleRequest ConsoleRequest::fromLine(const QString &line)
{
    if (line.contains(consoletext::parseEdid))
        return {Command::ParseEdid, line.split(consoletext::separator)};
    const QString packed =
        line.contains(QLatin1Char(' ')) ? QString(line).remove(QLatin1Char(' ')) : line;
    return {commandOf(packed), partsOf(packed)};
}

std::optional<int> ConsoleRequest::mode() const
{
    if (parts.size() != 2)
        return {};
    const int mode = parts.at(1).toInt();
    if (mode != upgradeMode::newerOnly && mode != upgradeMode::forced)
        return {};
    return mode;
}

QStringList ConsoleRequest::rows() const
{
    QStringList rows;
    const QStringList arguments = parts.mid(1);
    for (const QString &part : arguments) {
        if (part.count(QLatin1Char(',')) + 1 >= smallestRow)
            rows.append(part);
    }
    return rows;
}

std::optional<QString> ConsoleRequest::address() const
{
    if (parts.size() < 2 || parts.at(1).count(QLatin1Char('.')) + 1 != addressParts)
        return {};
    return parts.at(1);
}

std::optional<QString> ConsoleRequest::edidText() const
{
    if (parts.size() != 2)
        return {};
    return parts.at(1);
}

} // namespace console
