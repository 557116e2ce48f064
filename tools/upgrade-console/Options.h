// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandLine.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <vector>

/** The options of upgrade-console. */
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
    OutputForm form = OutputForm::Text;
    bool noProgress = false;
    std::chrono::milliseconds timeOut{60'000};
    int mode = 2;
    bool waitBack = false;
    /** The agent makes the rows: UPGRADEALL. */
    bool requestAll = false;
    /** Mode 5 needs no confirmation. */
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

    /** Show bars and lines about the progress. */
    bool showsProgress() const { return !noProgress && form != OutputForm::JsonLines; }
};

/** The command line of upgrade-console. */
class OptionReader
{
public:
    OptionReader();

    /** As CommandLine::read(), values included; options() is valid if it returns nothing. */
    std::optional<CommandOutcome> read(const QStringList &arguments);
    const Options &options() const { return m_options; }
    const CommandLine &line() const { return m_line; }

private:
    CommandLine m_line;
    Options m_options;
};

/** One sub-command. */
struct CommandRow
{
    Options::Command command;
    const char *name;
    const char *help;
};

/** One option or argument. The parser and the test of the man page use these. */
struct OptionRow
{
    enum class Value { None, Text, Host, File, Choice };

    /** Its sub-command; empty for all. */
    const char *command;
    /** "--name", or the name of an argument. */
    const char *name;
    Value value;
    /** The value's name in the help. */
    const char *valueName;
    /** Choice only: the values. */
    std::vector<std::string> choices;
    const char *help;

    bool isArgument() const { return name[0] != '-'; }
};

const std::vector<CommandRow> &commandRows();
const std::vector<OptionRow> &optionRows();
