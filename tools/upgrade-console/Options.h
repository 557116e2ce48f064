// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <vector>

/** The command line of upgrade-console. */
struct Options
{
    enum class Command {
        Ping,
        Version,
        Status,
        List,
        Upgrade,
        NetUpgrade,
        Attach,
        Put,
        Deploy,
        Edid,
        SendNet,
        Shell,
        Watch,
    };

    Command command = Command::Ping;
    QString host = QStringLiteral("localhost");
    quint16 port = 35353;
    bool json = false;
    /** JSON lines: the events of a run and then the result. */
    bool jsonProgress = false;
    bool noProgress = false;
    std::chrono::milliseconds timeOut{60'000};
    int mode = 2;
    bool waitBack = false;
    /** The agent makes the rows: UPGRADEALL. */
    bool requestAll = false;
    /** Mode 5 needs no question. */
    bool yes = false;
    /** A copy of the device's package, for the sizes of its images. */
    QString package;
    /** Empty for all chips of the package. */
    QStringList rows;
    QString address;
    QString file;
    /** OpenSSH's sftp. */
    QString sftp = QStringLiteral("sftp");
    QString sshUser;
    QString sshPort;
    QStringList sshOptions;

    /** What was asked for instead of a run, and the text that answers it. */
    struct Other
    {
        int exitStatus = 0;
        QString text;
    };

    /** Reads the arguments; nothing is returned when `other` tells what to print instead. */
    static std::optional<Options> parse(const QStringList &arguments, Other *other);
};

/** One sub-command. */
struct CommandRow
{
    Options::Command command;
    const char *name;
    const char *help;
};

/** One option or argument. The parser, the completion and the manual's test are made from these. */
struct OptionRow
{
    enum class Value { None, Text, Host, File, Choice };

    /** The sub-command that has it; empty for all. */
    const char *command;
    /** "--name", or the name of an argument. */
    const char *name;
    Value value;
    /** The value's name in the help. */
    const char *valueName;
    /** Choice only: the values, with blanks between. */
    const char *choices;
    const char *help;

    bool isArgument() const { return name[0] != '-'; }
};

const std::vector<CommandRow> &commandRows();
const std::vector<OptionRow> &optionRows();
/** The name of a sub-command. */
QString commandName(Options::Command command);

/** The script that completes the command line in bash. */
QString bashCompletion();
