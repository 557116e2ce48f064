// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/BashCompletion.h"
#include "common/CommandOutcome.h"

#include <QString>
#include <QStringList>

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class ParseError;
} // namespace CLI

/**
 * The command line of a program, the same for all of them. CLI11 (a header library of Debian)
 * parses it, since it supports sub-commands; Qt's parser does not.
 *
 * Every program has -h, --version, --json and --bash-completion. These and the program's
 * options for all commands may precede or follow the sub-command. Wrong usage is exit status 2, and
 * a JSON document if JSON is requested anywhere on the command line; for an unknown command or
 * option the nearest one is suggested.
 */
class CommandLine
{
public:
    struct Program
    {
        const char *name;
        const char *version;
        /** One sentence. */
        const char *purpose;
        /** The help of "--json". */
        OutputForm json = OutputForm::Json;
        const char *jsonHelp = "Write the result as one JSON document.";
    };

    explicit CommandLine(const Program &program);
    ~CommandLine();
    CommandLine(const CommandLine &) = delete;
    CommandLine &operator=(const CommandLine &) = delete;

    /** The program adds its options for all commands here. */
    CLI::App &app() { return *m_app; }
    const CLI::App &app() const { return *m_app; }
    CLI::App &addCommand(const char *name, const char *help);
    /** A further flag that selects JSON, with its two dashes. */
    void addJsonFlag(const char *name, OutputForm form, const char *help);

    // How the values of options and arguments are checked and completed.
    void takesFile(CLI::Option *option);
    void takesFolder(CLI::Option *option);
    void takesHost(CLI::Option *option);
    /** Other values are wrong usage. */
    void takesOneOf(CLI::Option *option, const std::vector<std::string> &values);

    // What the help has after the options.
    void addExitStatuses(std::initializer_list<ExitCode> codes);
    void addHelp(const QString &title, const QStringList &lines);

    /**
     * Reads the arguments, the first of which is the program's name. Empty when there is a command
     * to run; otherwise the output instead: a help text or an error.
     */
    std::optional<CommandOutcome> read(const QStringList &arguments);

    /** The sub-command that was read; empty when there is none. */
    QString command() const;
    OutputForm form() const { return m_form; }
    /** Wrong usage that only the program can detect: "--port: 'x' is not a valid port". */
    CommandOutcome wrong(const QString &detail) const;
    /** Writes an outcome in the form that the command line selects; returns the exit status. */
    int write(const CommandOutcome &outcome) const;

private:
    struct JsonFlag
    {
        QString name;
        OutputForm form;
    };

    bool hasCommands() const;
    void readForm(const QStringList &arguments);
    QString helpText() const;
    QString whatIsWrong(const CLI::ParseError &error) const;
    QString aboutWord(const QString &word) const;
    std::optional<QString> aboutVersion(const QStringList &arguments) const;

    const Program m_program;
    std::unique_ptr<CLI::App> m_app;
    CompletionHints m_hints;
    std::vector<JsonFlag> m_jsonFlags;
    QString m_footer;
    OutputForm m_form = OutputForm::Text;
};
