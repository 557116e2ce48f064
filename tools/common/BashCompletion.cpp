// SPDX-License-Identifier: Apache-2.0
#include "common/BashCompletion.h"

#include <CLI/CLI.hpp>

#include <QStringList>

#include <vector>

namespace {

// The template of the script; data of the parser replace the marks. "$command" is empty until the
// sub-command, "$place" counts arguments, and "$open" is an option that waits for its value.
const char *const scriptFrame = R"(# bash completion for @program@
_@function@()
{
    local current=${COMP_WORDS[COMP_CWORD]} command='' open='' place=0 word i
    local -a with=()
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        [[ $word != '=' ]] || continue
        if [[ -n $open ]]; then
            open=''
            continue
        fi
        case $command:$word in
@takers@            *:-*) ;;
@commands@            *) place=$((place + 1)) ;;
        esac
    done
    [[ $current != '=' ]] || current=''
    if [[ -n $open ]]; then
        case $command:$open in
@values@            *) ;;
        esac
    elif [[ $current == -* ]]; then
        case $command in
@options@        esac
    else
        case $command:$place in
@arguments@            *) ;;
        esac
    fi
    [[ ${#with[@]} -gt 0 ]] || return 0
    [[ ${with[0]} == -W ]] || compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "${with[@]}" -- "$current")
}
complete -F _@function@ @program@
)";

QString caseLine(const QString &pattern, const QString &action)
{
    return QStringLiteral("            %1) %2 ;;\n").arg(pattern, action);
}

QString completeWith(const QString &hint)
{
    return QStringLiteral("with=(%1)").arg(hint);
}

/** The options of an app and of its groups, which are apps without a name for the parser. */
std::vector<const CLI::Option *> optionsOf(const CLI::App &app)
{
    std::vector<const CLI::Option *> options = app.get_options();
    for (const CLI::App *group : app.get_subcommands({})) {
        if (!group->get_name().empty())
            continue;
        const auto more = optionsOf(*group);
        options.insert(options.end(), more.begin(), more.end());
    }
    return options;
}

std::vector<const CLI::App *> commandsOf(const CLI::App &app)
{
    return app.get_subcommands([](const CLI::App *one) { return !one->get_name().empty(); });
}

/** "--output" and "-o". */
QStringList namesOf(const CLI::Option &option)
{
    QStringList names;
    for (const std::string &name : option.get_lnames())
        names += QStringLiteral("--") + QString::fromStdString(name);
    for (const std::string &name : option.get_snames())
        names += QStringLiteral("-") + QString::fromStdString(name);
    return names;
}

QStringList optionNames(const CLI::App &app)
{
    QStringList names;
    for (const CLI::Option *option : optionsOf(app))
        names += namesOf(*option);
    return names;
}

/** Collects the cases of the script. */
class Script
{
public:
    explicit Script(const CompletionHints &hints) : m_hints(hints) {}

    /** `command` is the pattern of the sub-command: its name, or "*" for the program. */
    void addValues(const CLI::App &app, const QString &command);
    void addArguments(const CLI::App &app, const QString &command);
    QString fillIn(const CLI::App &app) const;

private:
    QString hintOf(const CLI::Option *option) const
    {
        const auto found = m_hints.find(option);
        return found == m_hints.end() ? QString() : QString::fromStdString(found->second);
    }

    const CompletionHints &m_hints;
    QString m_takers;
    QString m_values;
    QString m_arguments;
};

void Script::addValues(const CLI::App &app, const QString &command)
{
    for (const CLI::Option *option : optionsOf(app)) {
        if (option->get_positional() || option->get_items_expected_max() == 0)
            continue;
        QStringList patterns = namesOf(*option);
        for (QString &pattern : patterns)
            pattern.prepend(command + QLatin1Char(':'));
        const QString pattern = patterns.join(QStringLiteral(" | "));
        m_takers += caseLine(pattern, QStringLiteral("open=$word"));
        if (!hintOf(option).isEmpty())
            m_values += caseLine(pattern, completeWith(hintOf(option)));
    }
}

void Script::addArguments(const CLI::App &app, const QString &command)
{
    int place = 0;
    for (const CLI::Option *option : optionsOf(app)) {
        if (!option->get_positional())
            continue;
        const bool isLast = option->get_items_expected_max() > 1;
        const QString where = isLast ? QStringLiteral("*") : QString::number(place);
        if (!hintOf(option).isEmpty())
            m_arguments +=
                caseLine(command + QLatin1Char(':') + where, completeWith(hintOf(option)));
        ++place;
    }
}

QString Script::fillIn(const CLI::App &app) const
{
    const QString program = QString::fromStdString(app.get_name());
    const QStringList shared = optionNames(app);
    QString options;
    QStringList names;
    for (const CLI::App *command : commandsOf(app)) {
        const QString name = QString::fromStdString(command->get_name());
        QStringList all = optionNames(*command) + shared;
        all.removeDuplicates();
        options += caseLine(name, QStringLiteral("with=(-W '%1')").arg(all.join(QLatin1Char(' '))));
        names += name;
    }
    options += caseLine(QStringLiteral("*"),
                        QStringLiteral("with=(-W '%1')").arg(shared.join(QLatin1Char(' '))));
    const QString words = names.join(QLatin1Char(' '));
    const QString chosen = names.isEmpty()
                               ? QString()
                               : caseLine(QStringLiteral(":*"), QStringLiteral("command=$word"));
    const QString commands =
        names.isEmpty()
            ? QString()
            : caseLine(QStringLiteral(":*"), QStringLiteral("with=(-W '%1')").arg(words));
    QString script = QString::fromLatin1(scriptFrame);
    script.replace(QLatin1String("@program@"), program);
    script.replace(QLatin1String("@function@"),
                   QString(program).replace(QLatin1Char('-'), QLatin1Char('_')));
    script.replace(QLatin1String("@takers@"), m_takers);
    script.replace(QLatin1String("@commands@"), chosen);
    script.replace(QLatin1String("@values@"), m_values);
    script.replace(QLatin1String("@options@"), options);
    script.replace(QLatin1String("@arguments@"), commands + m_arguments);
    return script;
}

} // namespace

QString bashCompletion(const CLI::App &app, const CompletionHints &hints)
{
    Script script(hints);
    for (const CLI::App *command : commandsOf(app)) {
        const QString name = QString::fromStdString(command->get_name());
        script.addValues(*command, name);
        script.addArguments(*command, name);
    }
    script.addValues(app, QStringLiteral("*"));
    script.addArguments(app, QString());
    return script.fillIn(app);
}
