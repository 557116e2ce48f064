// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Options.h"

#include "client/UpgradeRows.h"

#include <CLI/CLI.hpp>

#include <QAbstractSocket>
#include <QHostAddress>

#include <algorithm>
#include <string>

using client::rowProblem;

namespace {

using Value = OptionRow::Value;

constexpr double longestTimeOut = 24.0 * 3600.0;

const CommandLine::Program program{"upgrade-console", PROJECT_VERSION,
                                   "Console client of the upgrade agent."};

const QLatin1String formerAll("--all");
const char *const insteadOfAll =
    "there is no --all: 'upgrade' without rows upgrades every chip of the package, index 0 to "
    "quantity - 1; --request-all has the agent make the rows, with index = quantity";

CLI::App &ownerOf(CommandLine &line, const OptionRow &row)
{
    return row.command[0] == '\0' ? line.app() : *line.app().get_subcommand(row.command);
}

void addHints(CommandLine &line, const OptionRow &row, CLI::Option *option)
{
    if (row.value == Value::File)
        line.takesFile(option);
    else if (row.value == Value::Host)
        line.takesHost(option);
    else if (row.value == Value::Choice)
        line.takesOneOf(option, row.choices);
}

void addOption(CommandLine &line, const OptionRow &row)
{
    CLI::App &owner = ownerOf(line, row);
    if (row.value == Value::None) {
        owner.add_flag(row.name, row.help);
        return;
    }
    CLI::Option *option = owner.add_option(row.name, row.help);
    option->type_name(row.isArgument() ? "" : row.valueName);
    if (std::string(row.valueName) == "ROW")
        option->type_size(1)->expected(-1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    else if (row.isArgument())
        option->required();
    else if (std::string(row.name) == "--ssh-option")
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    else
        option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    addHints(line, row, option);
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
    Problem problem;

    /** If an option is given twice, the last one counts. */
    QString text(const char *name) const
    {
        const QStringList values = valuesOf(app, command, name);
        return values.isEmpty() ? QString() : values.last();
    }
    bool isSet(const char *name) const { return !valuesOf(app, command, name).isEmpty(); }

    void refuse(const QString &words, ProblemId id = ProblemId::Usage)
    {
        if (problem.id == ProblemId::None)
            problem = {id, words};
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
            refuse(QStringLiteral("--port: '%1' is not a valid port").arg(text("--port")));
        if (!isSet("--timeout"))
            return;
        const double seconds = text("--timeout").toDouble(&isNumber);
        if (!isNumber || !(seconds > 0.0 && seconds <= longestTimeOut))
            refuse(QStringLiteral("--timeout: '%1' is not a valid time").arg(text("--timeout")));
        else
            options.timeOut = std::chrono::milliseconds(qint64(seconds * 1000.0) + 1);
    }

    void readRows()
    {
        options.requestAll = isSet("--request-all");
        options.rows = valuesOf(app, command, "ROW");
        if (options.requestAll && !options.rows.isEmpty())
            refuse(QStringLiteral("upgrade: give either --request-all or rows"));
        for (const QString &row : qAsConst(options.rows)) {
            if (!rowProblem(row).isEmpty())
                refuse(rowProblem(row), ProblemId::RowsRefused);
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
            refuse(QStringLiteral("'%1' is not an IPv4 address").arg(options.address));
    }

    void read()
    {
        options.noProgress = isSet("--no-progress");
        options.waitBack = isSet("--wait-back");
        options.yes = isSet("--yes");
        options.package = text("--package");
        readConnection();
        if (isSet("--mode"))
            options.mode = text("--mode").toInt();
        readSsh();
        if (options.command == Options::Command::Upgrade ||
            options.command == Options::Command::Deploy)
            readRows();
        readArguments();
    }
};

Options::Command commandNamed(const QString &name)
{
    return std::find_if(commandRows().begin(), commandRows().end(),
                        [&](const CommandRow &row) { return name == QLatin1String(row.name); })
        ->command;
}

} // namespace

OptionReader::OptionReader() : m_line(program)
{
    m_line.addJsonFlag("--json-progress", OutputForm::JsonLines,
                       "Write JSON lines: each event of a run as it happens, and the result as the "
                       "last line.");
    for (const CommandRow &row : commandRows())
        m_line.addCommand(row.name, row.help);
    for (const OptionRow &row : optionRows())
        addOption(m_line, row);
    m_line.addExitStatuses({ExitCode::Done, ExitCode::Failed, ExitCode::Usage,
                            ExitCode::NothingToDo, ExitCode::DeviceBusy, ExitCode::CannotConnect,
                            ExitCode::ConnectionLost, ExitCode::PackageRefused, ExitCode::NoRun,
                            ExitCode::NotTrusted});
}

std::optional<CommandOutcome> OptionReader::read(const QStringList &arguments)
{
    const std::optional<CommandOutcome> answer = m_line.read(arguments);
    if (answer && answer->problem && arguments.contains(formerAll))
        return m_line.wrong(QString::fromLatin1(insteadOfAll));
    if (answer)
        return answer;
    const CLI::App &app = m_line.app();
    Reader reader{app, *app.get_subcommands().front(), {}, {}};
    reader.options.command = commandNamed(m_line.command());
    reader.options.form = m_line.form();
    reader.read();
    if (reader.problem.id == ProblemId::Usage)
        return m_line.wrong(reader.problem.detail);
    if (reader.problem.id != ProblemId::None)
        return CommandOutcome::failed(reader.problem);
    m_options = reader.options;
    return std::nullopt;
}
