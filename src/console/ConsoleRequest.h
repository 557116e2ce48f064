// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace console {

/** One parsed request line of the console. */
struct ConsoleRequest
{
    enum class Command {
        ParseEdid,
        Heartbeat,
        FirmwareList,
        UpgradeMode,
        Upgrade,
        UpgradeAll,
        Version,
        NetUpgrade,
        Unknown,
    };

    Command command = Command::Unknown;
    /** The line split at "||"; the first part is the text before the first "||". All blanks are
     *  removed, except from an EDID request. */
    QStringList parts;

    /** Finds the command by its word anywhere in the line; the first word of the list wins. */
    static ConsoleRequest fromLine(const QString &line);

    /** Whether the whole package may have to be read for it, which takes time. */
    bool readsPackage() const
    {
        return command == Command::FirmwareList || command == Command::UpgradeAll;
    }

    /** UpgradeMode: 2 or 5; none when there is not exactly one argument or it is another number. */
    std::optional<int> mode() const;
    /** Upgrade: the rows that have more than two fields, unchanged. */
    QStringList rows() const;
    /** NetUpgrade: the address; none unless it has four parts separated by dots. */
    std::optional<QString> address() const;
    /** ParseEdid: the dump's text; none unless there is exactly one argument. */
    std::optional<QString> edidText() const;
};

} // namespace console
