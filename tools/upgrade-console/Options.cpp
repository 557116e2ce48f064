// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Options.h"

#include "client/UpgradeRows.h"
#include "common/ExitCodes.h"

#include <CLI/CLI.hpp>

#include <QAbstractSocket>
#include <QHostAddress>

#include <algorithm>
#include <string>

using client::rowProblem;

namespace {

using Value = OptionRow::Value;

constexpr double longestTimeOut = 24.0 * 3600.0;

/** Asks for the completion script; for those who install the program. */
const char *const completionOption = "--bash-completion";

const QLatin1String formerAll("--all");
const char *const insteadOfAll =
    "there is no --all: 'upgrade' without rows upgrades every chip of the package, index 0 to "
    "quantity - 1; --request-all has the agent make the rows, with index = quantity";

CLI::App *ownerOf(CLI::App &app, const OptionRow &row)
{
    return row.command[0] == '\0' ? &app : app.get_subcommand(row.command);
}

void addOption(CLI::App &app, const OptionRow &row)
{
    CLI::App *owner = ownerOf(app, row);
    if (row.value == Value::None) {
        owner->add_flag(row.name, row.help);
        return;
    }
    CLI::Option *option = owner->add_option(row.name, row.help);
    option->type_name(row.isArgument() ? "" : row.valueName);
    if (std::string(row.valueName) == "ROW")
        option->type_size(1)->expected(-1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    else if (row.isArgument())
        option->required();
    else if (std::string(row.name) == "--ssh-option")
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    else
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void buildParser(CLI::App &app)
{
    app.set_help_flag("-h,--help", "Show this help.");
    app.set_version_flag("--version", "upgrade-console " PROJECT_VERSION, "Show the version.");
    app.require_subcommand(1);
    app.fallthrough();
    for (const CommandRow &row : commandRows())
        app.add_subcommand(row.name, row.help)->fallthrough();
    for (const OptionRow &row : optionRows())
        addOption(app, row);
    std::string footer = "Exit status:\n";
    for (const ExitCodeWords &words : exitCodes())
        footer += "  " + std::to_string(int(words.code)) + "  " + words.meaning + "\n";
    app.footer(footer);
}

/** The option's values, of the sub-command or of all. */
QStringList valuesOf(const CLI::App &app, const CLI::App &command, const char *name)
{
    const CLI::Option *option = command.get_option_no_throw(name);
    if (option == nullptr)
        option = app.get_option_no_throw(name);
    QStringList values;
    if (option != nullptr)
        for (const std::string &value : option->results())
            values += QString::fromStdString(value);
    return values;
}

struct Reader
{
    const CLI::App &app;
    const CLI::App &command;
    Options options;
    QString problem;

    /** Of an option that is given twice the last one counts. */
    QString text(const char *name) const
    {
        const QStringList values = valuesOf(app, command, name);
        return values.isEmpty() ? QString() : values.last();
    }
    bool isSet(const char *name) const { return !valuesOf(app, command, name).isEmpty(); }

    void refuse(const QString &words)
    {
        if (problem.isEmpty())
            problem = words;
    }

    void readConnection()
    {
        if (isSet("--host"))
            options.host = text("--host");
        if (options.host.isEmpty())
            refuse(QStringLiteral("--host: no host given"));
        bool isNumber = true;
        if (isSet("--port"))
            options.port = text("--port").toUShort(&isNumber);
        if (!isNumber || options.port == 0)
            refuse(QStringLiteral("--port: '%1' is no port").arg(text("--port")));
        if (!isSet("--timeout"))
            return;
        const double seconds = text("--timeout").toDouble(&isNumber);
        if (!isNumber || !(seconds > 0.0 && seconds <= longestTimeOut))
            refuse(QStringLiteral("--timeout: '%1' is not a valid time").arg(text("--timeout")));
        else
            options.timeOut = std::chrono::milliseconds(qint64(seconds * 1000.0) + 1);
    }

    void readMode()
    {
        if (isSet("--mode"))
            options.mode = text("--mode").toInt();
        if (options.mode != 2 && options.mode != 5)
            refuse(QStringLiteral("--mode: 2 or 5, not '%1'").arg(text("--mode")));
    }

    void readRows()
    {
        options.requestAll = isSet("--request-all");
        options.rows = valuesOf(app, command, "ROW");
        if (options.requestAll && !options.rows.isEmpty())
            refuse(QStringLiteral("upgrade: give either --request-all or rows"));
        for (const QString &row : qAsConst(options.rows)) {
            if (!rowProblem(row).isEmpty())
                refuse(rowProblem(row));
        }
    }

    void readSsh()
    {
        if (isSet("--sftp"))
            options.sftp = text("--sftp");
        options.sshUser = text("--ssh-user");
        options.sshPort = text("--ssh-port");
        options.sshOptions = valuesOf(app, command, "--ssh-option");
        bool isNumber = true;
        if (isSet("--ssh-port") && (options.sshPort.toUShort(&isNumber) == 0 || !isNumber))
            refuse(QStringLiteral("--ssh-port: '%1' is not a valid port").arg(options.sshPort));
    }

    void readArguments()
    {
        options.file = text("FILE");
        options.address = text("ADDRESS");
        if (options.command != Options::Command::NetUpgrade)
            return;
        const bool isDotted = options.address.count('.') == 3;
        if (!isDotted || QHostAddress(options.address).protocol() != QAbstractSocket::IPv4Protocol)
            refuse(QStringLiteral("'%1' is no IPv4 address").arg(options.address));
    }

    void read()
    {
        options.jsonProgress = isSet("--json-progress");
        options.json = options.jsonProgress || isSet("--json");
        options.noProgress = isSet("--no-progress");
        options.waitBack = isSet("--wait-back");
        options.yes = isSet("--yes");
        options.package = text("--package");
        readConnection();
        readMode();
        readSsh();
        if (options.command == Options::Command::Upgrade ||
            options.command == Options::Command::Deploy)
            readRows();
        readArguments();
    }
};

const CommandRow &rowNamed(const std::string &name)
{
    return *std::find_if(commandRows().begin(), commandRows().end(),
                         [&](const CommandRow &row) { return name == row.name; });
}

Options::Other usage(const QString &problem)
{
    return {int(ExitCode::Usage), problem};
}

} // namespace

std::optional<Options> Options::parse(const QStringList &arguments, Other *other)
{
    CLI::App app("Talks to the upgrade agent of a device.", "upgrade-console");
    buildParser(app);
    if (arguments.mid(1) == QStringList{completionOption}) {
        *other = {int(ExitCode::Done), bashCompletion()};
        return std::nullopt;
    }
    std::vector<std::string> words;
    for (int i = arguments.size() - 1; i > 0; --i)
        words.push_back(arguments.at(i).toStdString());
    try {
        app.parse(words);
    } catch (const CLI::CallForHelp &) {
        const auto chosen = app.get_subcommands();
        const std::string text = chosen.empty() ? app.help() : chosen.front()->help(app.get_name());
        *other = {int(ExitCode::Done), QString::fromStdString(text)};
        return std::nullopt;
    } catch (const CLI::CallForVersion &) {
        *other = {int(ExitCode::Done), QStringLiteral("upgrade-console " PROJECT_VERSION "\n")};
        return std::nullopt;
    } catch (const CLI::ParseError &error) {
        *other = usage(arguments.contains(formerAll) ? QString::fromLatin1(insteadOfAll)
                                                     : QString::fromLocal8Bit(error.what()));
        return std::nullopt;
    }
    const CLI::App *chosen = app.get_subcommands().front();
    Reader reader{app, *chosen, {}, {}};
    reader.options.command = rowNamed(chosen->get_name()).command;
    reader.read();
    if (reader.problem.isEmpty())
        return reader.options;
    *other = usage(reader.problem);
    return std::nullopt;
}
