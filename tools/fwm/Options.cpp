// SPDX-License-Identifier: Apache-2.0
#include "fwm/Options.h"

#include "common/BashCompletion.h"
#include "common/ExitCodes.h"
#include "common/Output.h"

#include <CLI/CLI.hpp>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <iostream>
#include <sstream>

namespace upgradeMode = planning::upgradeMode;

namespace {

/** The command line as its library fills it in. */
struct Texts
{
    std::string file;
    std::string other;
    std::string output;
    std::string release;
    std::string netVersion;
    std::string rows;
    std::string device;
    int mode = upgradeMode::newerOnly;
    bool json = false;
    bool noProgress = false;
    bool requestAll = false;
    bool completion = false;
};

QString pathOf(const std::string &text)
{
    return QFile::decodeName(QByteArray::fromStdString(text));
}

CLI::App *addCommand(CLI::App &app, Texts &texts, const char *name, const char *help)
{
    CLI::App *command = app.add_subcommand(name, help);
    command->add_flag("--json", texts.json, "One JSON document on standard output");
    command->add_flag("--no-progress", texts.noProgress, "No progress line");
    return command;
}

void addFile(CLI::App *command, Texts &texts, const char *name, const char *help)
{
    command->add_option(name, texts.file, help)->required();
}

void addOutput(CLI::App *command, Texts &texts, const char *help)
{
    command->add_option("-o,--output", texts.output, help)->required();
}

std::string checkNetVersion(const std::string &text)
{
    static const QRegularExpression pattern(QStringLiteral("\\A[0-9]\\.[0-9]{2}\\z"));
    const bool matches = pattern.match(QString::fromStdString(text)).hasMatch();
    return matches ? std::string() : "a version is a digit, a point and two digits, like 1.23";
}

void addReaders(CLI::App &app, Texts &texts)
{
    const char *const package = "The package";
    addFile(addCommand(app, texts, "info", "Show what a package is and what it holds"), texts,
            "FILE", package);
    addFile(addCommand(app, texts, "verify", "Find every error in a package"), texts, "FILE",
            package);
    addFile(addCommand(app, texts, "list", "Show the firmware list as devices list it"), texts,
            "FILE", package);
    CLI::App *extract = addCommand(app, texts, "extract",
                                   "Write the images and the description of a package to a folder");
    addFile(extract, texts, "FILE", package);
    addOutput(extract, texts, "A folder that does not exist or is empty");
    CLI::App *diff = addCommand(app, texts, "diff", "Show what differs between two packages");
    addFile(diff, texts, "A", "The one package");
    diff->add_option("B", texts.other, "The other package")->required();
}

void addPlan(CLI::App &app, Texts &texts)
{
    CLI::App *plan = addCommand(app, texts, "plan", "Show what an upgrade would send, and why");
    addFile(plan, texts, "PACKAGE", "The package");
    CLI::Option_group *chips = plan->add_option_group("Chips", "What the device is made of");
    CLI::Option *rows = chips->add_option("--rows", texts.rows, "A file of rows, nine fields each");
    chips->add_option("--device", texts.device,
                      "A device file, as the simulator takes it; the rows are the package's, index "
                      "0 to quantity - 1 of each chip");
    chips->require_option(1);
    plan->add_flag("--request-all", texts.requestAll,
                   "The rows that the agent makes for UPGRADEALL, with index = quantity")
        ->excludes(rows);
    plan->add_option("--mode", texts.mode, "2: only newer images (default), 5: every image")
        ->check(CLI::IsMember({upgradeMode::newerOnly, upgradeMode::forced}));
}

void addWriters(CLI::App &app, Texts &texts)
{
    const char *const output = "The file to write";
    CLI::App *build = addCommand(app, texts, "build", "Build a package from a request");
    addFile(build, texts, "REQUEST", "A JSON file; its paths are relative to its folder");
    addOutput(build, texts, output);

    CLI::App *addNet = addCommand(app, texts, "add-net",
                                  "Put a network module image into a package, or replace it there");
    addFile(addNet, texts, "PACKAGE", "The package to start from");
    addNet->add_option("NET", texts.other, "The network module image")->required();
    addOutput(addNet, texts, output);
    addNet->add_option("--release", texts.release, "The new package's release text");

    CLI::App *makeNet = addCommand(app, texts, "make-net",
                                   "Make a network module image from a folder or an archive");
    addFile(makeNet, texts, "SOURCE", "A folder, or a bzip2-compressed tar archive");
    makeNet->add_option("--net-version", texts.netVersion, "The image's version, like 1.23")
        ->required()
        ->check(checkNetVersion);
    addOutput(makeNet, texts, output);
}

std::string footer()
{
    std::string text = "Exit status:\n";
    for (const ExitCodeWords &words : exitCodes())
        text += "  " + std::to_string(int(words.code)) + "  " + words.meaning + "\n";
    return text;
}

bool wantsJson(int argc, char *argv[])
{
    return std::any_of(argv, argv + argc,
                       [](const char *argument) { return std::string(argument) == "--json"; });
}

/** What was asked for instead of a command. */
int answer(const std::string &text)
{
    const bool isWritten = writeOutput("fwm", QByteArray::fromStdString(text));
    return int(isWritten ? ExitCode::Done : ExitCode::Failed);
}

/** A wrong command line: in JSON as well, when the rest of it asked for that. */
int reportUsage(const CLI::App &app, const CLI::ParseError &error, bool json)
{
    if (error.get_exit_code() == int(CLI::ExitCodes::Success)) {
        std::ostringstream asked; // help, or the version
        app.exit(error, asked, asked);
        return answer(asked.str());
    }
    if (json) {
        const QJsonObject words{{QStringLiteral("name"), exitCodeName(ExitCode::Usage)},
                                {QStringLiteral("detail"), QString::fromStdString(error.what())}};
        const QJsonObject all{{QStringLiteral("exit_code"), int(ExitCode::Usage)},
                              {QStringLiteral("exit_name"), exitCodeName(ExitCode::Usage)},
                              {QStringLiteral("error"), words}};
        writeOutput("fwm", QJsonDocument(all).toJson());
    } else {
        std::cerr << "fwm: error: " << error.what() << "\nfwm: See 'fwm --help'.\n";
    }
    return int(ExitCode::Usage);
}

Options fromTexts(const Texts &texts, const std::string &command)
{
    Options options;
    options.command = QString::fromStdString(command);
    options.file = pathOf(texts.file);
    options.other = pathOf(texts.other);
    options.output = pathOf(texts.output);
    options.release = QString::fromLocal8Bit(QByteArray::fromStdString(texts.release));
    options.netVersion = QString::fromStdString(texts.netVersion);
    options.rows = pathOf(texts.rows);
    options.device = pathOf(texts.device);
    options.requestAll = texts.requestAll;
    options.mode = texts.mode;
    options.json = texts.json;
    options.progress = !texts.noProgress;
    return options;
}

} // namespace

CommandLine readCommandLine(int argc, char *argv[])
{
    Texts texts;
    CLI::App app("Builds, shows and checks firmware packages.", "fwm");
    app.set_version_flag("--version", std::string("fwm ") + PROGRAM_VERSION,
                         "Print the version and exit");
    app.set_help_all_flag("--help-all", "Print the help of every command and exit");
    app.add_flag("--bash-completion", texts.completion, "Print a completion script for bash");
    app.require_subcommand(0, 1);
    app.footer(footer());
    addReaders(app, texts);
    addWriters(app, texts);
    addPlan(app, texts);

    try {
        app.parse(argc, argv);
        if (texts.completion)
            return {std::nullopt, answer(bashCompletion(app))};
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A command");
    } catch (const CLI::ParseError &error) {
        return {std::nullopt, reportUsage(app, error, wantsJson(argc, argv))};
    }
    return {fromTexts(texts, app.get_subcommands().front()->get_name()), 0};
}
