// SPDX-License-Identifier: Apache-2.0
#include "common/CommandLine.h"

#include "common/NearestWord.h"
#include "common/UsageTexts.h"

#include <CLI/CLI.hpp>

#include <QRegularExpression>

#include <algorithm>

namespace {

/** Ends the parsing like a request for help, before missing arguments are reported. */
struct CallForCompletion : public CLI::Success
{
};

std::vector<std::string> wordsOf(const QStringList &arguments)
{
    // The parser reads them from the end.
    std::vector<std::string> words;
    for (int i = arguments.size() - 1; i > 0; --i)
        words.push_back(arguments.at(i).toStdString());
    return words;
}

void addOptionNames(const CLI::App &app, QStringList &names)
{
    for (const CLI::Option *option : app.get_options())
        for (const std::string &name : option->get_lnames())
            names += QStringLiteral("--") + QString::fromStdString(name);
    for (const CLI::App *group : app.get_subcommands({})) {
        if (group->get_name().empty())
            addOptionNames(*group, names);
    }
}

CommandOutcome textOnly(const QString &text)
{
    CommandOutcome outcome;
    outcome.text = text;
    outcome.json = {{QStringLiteral("text"), text}};
    return outcome;
}

} // namespace

CommandLine::CommandLine(const Program &program)
    : m_program(program), m_app(std::make_unique<CLI::App>(program.purpose, program.name))
{
    m_app->require_subcommand(0, 1);
    m_app->set_help_flag("-h,--help", "Show help and exit.");
    m_app->set_version_flag("-v,--version", std::string(program.name) + ' ' + program.version,
                            "Show the version and exit.");
    m_app->add_flag_callback(
        "--bash-completion", [] { throw CallForCompletion(); },
        "Print a completion script for bash and exit.");
    addJsonFlag("--json", program.json, program.jsonHelp);
}

CommandLine::~CommandLine() = default;

CLI::App &CommandLine::addCommand(const char *name, const char *help)
{
    if (m_app->get_help_all_ptr() == nullptr)
        m_app->set_help_all_flag("--help-all", "Show the help of every command and exit.");
    CLI::App *command = m_app->add_subcommand(name, help);
    command->fallthrough();
    return *command;
}

void CommandLine::addJsonFlag(const char *name, OutputForm form, const char *help)
{
    const std::string description = help; // a pointer would be taken for the flag's variable
    m_app->add_flag(name, description)->disable_flag_override();
    m_jsonFlags.push_back({QString::fromLatin1(name), form});
}

void CommandLine::takesFile(CLI::Option *option)
{
    m_hints[option] = "-f";
}

void CommandLine::takesFolder(CLI::Option *option)
{
    m_hints[option] = "-d";
}

void CommandLine::takesHost(CLI::Option *option)
{
    m_hints[option] = "-A hostname";
}

void CommandLine::takesOneOf(CLI::Option *option, const std::vector<std::string> &values)
{
    const std::string list = CLI::detail::join(values, ", ");
    const auto isOneOf = [values, list](const std::string &text) {
        const bool isFound = std::find(values.begin(), values.end(), text) != values.end();
        return isFound ? std::string() : "'" + text + "' is not one of " + list;
    };
    option->check(CLI::Validator(isOneOf, CLI::detail::generate_set(values)));
    m_hints[option] = "-W '" + CLI::detail::join(values, " ") + "'";
}

void CommandLine::addExitStatuses(std::initializer_list<ExitCode> codes)
{
    QStringList lines;
    for (const ExitCode code : codes)
        lines += QStringLiteral("%1  %2").arg(int(code)).arg(
            QLatin1String(exitCodes().at(int(code)).meaning));
    addHelp(QStringLiteral("Exit status"), lines);
}

void CommandLine::addHelp(const QString &title, const QStringList &lines)
{
    if (!m_footer.isEmpty())
        m_footer += QLatin1Char('\n');
    m_footer += QStringLiteral("%1:\n  %2\n").arg(title, lines.join(QStringLiteral("\n  ")));
    m_app->footer(m_footer.toStdString());
}

bool CommandLine::hasCommands() const
{
    return !m_app->get_subcommands({}).empty();
}

void CommandLine::readForm(const QStringList &arguments)
{
    m_form = OutputForm::Text;
    for (const QString &word : arguments) {
        if (word == QLatin1String("--"))
            return;
        for (const JsonFlag &flag : m_jsonFlags) {
            // "--json=1" is an error, which the document reports.
            const bool isGiven = word == flag.name || word.startsWith(flag.name + QLatin1Char('='));
            if (isGiven && m_form != OutputForm::JsonLines)
                m_form = flag.form;
        }
    }
}

std::optional<CommandOutcome> CommandLine::read(const QStringList &arguments)
{
    readForm(arguments);
    try {
        m_app->parse(wordsOf(arguments));
    } catch (const CLI::CallForVersion &version) {
        if (const std::optional<QString> problem = aboutVersion(arguments))
            return wrong(*problem);
        return textOnly(QString::fromLatin1(version.what()) + QLatin1Char('\n'));
    } catch (const CLI::CallForAllHelp &) {
        return textOnly(QString::fromStdString(m_app->help("", CLI::AppFormatMode::All)));
    } catch (const CLI::CallForHelp &) {
        return textOnly(helpText());
    } catch (const CallForCompletion &) {
        return textOnly(bashCompletion(*m_app, m_hints));
    } catch (const CLI::ParseError &error) {
        return wrong(whatIsWrong(error));
    }
    if (hasCommands() && command().isEmpty())
        return wrong(QStringLiteral("no command is given"));
    return std::nullopt;
}

QString CommandLine::command() const
{
    const auto chosen = m_app->get_subcommands();
    return chosen.empty() ? QString() : QString::fromStdString(chosen.front()->get_name());
}

CommandOutcome CommandLine::wrong(const QString &detail) const
{
    QString help = QString::fromLatin1(m_program.name);
    if (!command().isEmpty())
        help += QLatin1Char(' ') + command();
    return CommandOutcome::failed(
        {ProblemId::Usage, detail, QStringLiteral("See '%1 --help'.").arg(help)});
}

int CommandLine::write(const CommandOutcome &outcome) const
{
    const QString program = QString::fromLatin1(m_program.name);
    return writeOutcome(program, hasCommands() ? command() : program, m_form, outcome);
}

QString CommandLine::helpText() const
{
    const auto chosen = m_app->get_subcommands();
    if (chosen.empty())
        return QString::fromStdString(m_app->help());
    // The parser's help of a sub-command does not contain the options of the program.
    const auto shared =
        m_app->get_options([](const CLI::Option *option) { return !option->check_lname("help"); });
    const std::string own = chosen.front()->help(m_app->get_name());
    return QString::fromStdString(own +
                                  CLI::Formatter().make_group("Options of every command", false,
                                                              {shared.begin(), shared.end()}));
}

QString CommandLine::whatIsWrong(const CLI::ParseError &error) const
{
    const bool isAboutWords = dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr ||
                              dynamic_cast<const CLI::RequiredError *>(&error) != nullptr;
    const std::vector<std::string> unknown = m_app->remaining(true);
    if (isAboutWords && !unknown.empty())
        return aboutWord(QString::fromStdString(unknown.front()));
    return usageText(QString::fromStdString(error.what()).simplified());
}

/** Whether a value follows the version flag, which people take for the one of a longer name. */
std::optional<QString> CommandLine::aboutVersion(const QStringList &arguments) const
{
    const int flag = arguments.indexOf(QStringLiteral("--version"));
    const QString value = arguments.value(flag + 1);
    if (flag < 0 || value.isEmpty() || value.startsWith(QLatin1Char('-')))
        return std::nullopt;
    QStringList names;
    for (const CLI::App *chosen : m_app->get_subcommands())
        addOptionNames(*chosen, names);
    const QStringList longer = names.filter(QRegularExpression(QStringLiteral("-version$")));
    if (longer.isEmpty())
        return std::nullopt;
    return QStringLiteral("--version takes no value; did you mean '%1 %2'?")
        .arg(longer.first(), value);
}

/** The error for a word that is neither an option, a command nor an argument. */
QString CommandLine::aboutWord(const QString &word) const
{
    QStringList candidates;
    QString problem = QStringLiteral("unexpected '%1'").arg(word);
    if (word.startsWith(QLatin1Char('-'))) {
        problem = QStringLiteral("unknown option '%1'").arg(word);
        addOptionNames(*m_app, candidates);
        for (const CLI::App *chosen : m_app->get_subcommands())
            addOptionNames(*chosen, candidates);
    } else if (hasCommands() && command().isEmpty()) {
        problem = QStringLiteral("unknown command '%1'").arg(word);
        for (const CLI::App *one : m_app->get_subcommands({}))
            candidates += QString::fromStdString(one->get_name());
    }
    const QString nearest = nearestWord(word, candidates);
    return nearest.isEmpty() ? problem
                             : problem + QStringLiteral("; did you mean '%1'?").arg(nearest);
}
