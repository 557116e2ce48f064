// SPDX-License-Identifier: Apache-2.0
#include "fwm/Options.h"

#include "fwm/Words.h"

#include <CLI/CLI.hpp>

namespace upgradeMode = planning::upgradeMode;

namespace {

const CommandLine::Program program{"fwm", PROGRAM_VERSION,
                                   "Builds, shows and checks firmware packages."};

std::string checkNetVersion(const std::string &text)
{
    return isNetVersion(QString::fromStdString(text))
               ? std::string()
               : "'" + text + "' is not a digit, a point and two digits, like 1.23";
}

/** Packages are written to a file that is checked and renamed; a shell's "-" would be one. */
std::string checkOutput(const std::string &name)
{
    return name == "-" ? "'-' would be a file of this name; standard output is not supported"
                       : std::string();
}

} // namespace

OptionReader::OptionReader() : m_line(program)
{
    m_line.app().add_flag("--no-progress", m_texts.noProgress, "Show no progress line.");
    addReaders();
    addWriters();
    addPlan();
    m_line.addExitStatuses({ExitCode::Done, ExitCode::Failed, ExitCode::Usage,
                            ExitCode::NothingToDo, ExitCode::PackageRefused, ExitCode::NotTrusted});
}

CLI::App &OptionReader::addCommand(const char *name, const char *help)
{
    return m_line.addCommand(name, help);
}

void OptionReader::addFile(CLI::App &command, const char *name, std::string &text, const char *help)
{
    m_line.takesFile(command.add_option(name, text, help)->type_name("")->required());
}

void OptionReader::addOutput(CLI::App &command, const char *help)
{
    m_line.takesFile(command.add_option("-o,--output", m_texts.output, help)
                         ->type_name("NAME")
                         ->required()
                         ->check(checkOutput));
}

void OptionReader::addSignature(CLI::App &command)
{
    m_line.takesFile(command
                         .add_option("--keys", m_texts.keys,
                                     "Check the signature: a public key of minisign, or a folder "
                                     "of *.pub files")
                         ->type_name("NAME"));
    m_line.takesFile(command
                         .add_option("--signature", m_texts.signature,
                                     "The signature file (default: FILE.minisig)")
                         ->type_name("NAME"));
}

void OptionReader::addReaders()
{
    const char *const package = "The package";
    const char *const readable = "The package, or an image of the network module";
    CLI::App &info = addCommand("info", "Show what a package is and what it holds");
    addFile(info, "FILE", m_texts.file, readable);
    addSignature(info);
    CLI::App &verify = addCommand("verify", "Find every error in a package");
    addFile(verify, "FILE", m_texts.file, readable);
    addSignature(verify);
    addFile(addCommand("list", "Show the firmware list as devices list it"), "FILE", m_texts.file,
            package);
    CLI::App &extract =
        addCommand("extract", "Write the images and the description of a package to a folder");
    addFile(extract, "FILE", m_texts.file, package);
    addOutput(extract, "A folder that does not exist or is empty");
    CLI::App &diff = addCommand("diff", "Show the differences between two packages");
    addFile(diff, "A", m_texts.file, "The first package");
    addFile(diff, "B", m_texts.other, "The second package");
}

void OptionReader::addPlan()
{
    CLI::App &plan = addCommand("plan", "Show what an upgrade would send, and why");
    addFile(plan, "PACKAGE", m_texts.file, "The package");
    CLI::Option_group *chips = plan.add_option_group("Chips", "The chips of the device");
    CLI::Option *rows =
        chips->add_option("--rows", m_texts.rows, "A file of rows, nine fields each");
    m_line.takesFile(rows->type_name("ROWS"));
    m_line.takesFile(chips
                         ->add_option("--device", m_texts.device,
                                      "A device file, as the simulator takes it; the rows are the "
                                      "package's, index 0 to quantity - 1 of each chip")
                         ->type_name("DEVICE"));
    chips->require_option(1);
    plan.add_flag("--request-all", m_texts.requestAll,
                  "The rows that the agent makes for UPGRADEALL, with index = quantity")
        ->excludes(rows);
    m_line.takesOneOf(
        plan.add_option("--mode", m_texts.mode, "2: only newer images (default), 5: every image"),
        {std::to_string(upgradeMode::newerOnly), std::to_string(upgradeMode::forced)});
}

void OptionReader::addWriters()
{
    const char *const output = "The file to write";
    CLI::App &sample = addCommand("new", "Write a sample request with comments");
    addOutput(sample, output);
    CLI::App &explain = addCommand("explain", "Show the long form of a short request");
    addFile(explain, "REQUEST", m_texts.file, "A JSON file");
    CLI::App &build = addCommand("build", "Build a package from a request");
    addFile(build, "REQUEST", m_texts.file, "A JSON file; its paths are relative to its folder");
    addOutput(build, output);
    build.add_flag("--force", m_texts.force,
                   "Write a package with errors, too, and report them as warnings");
    build.add_flag("--fill-gaps", m_texts.fillGaps,
                   "Fill the gaps of Intel HEX and S-record files with 0xFF");

    CLI::App &addNet =
        addCommand("add-net", "Add a network module image to a package, or replace the one in it");
    addFile(addNet, "PACKAGE", m_texts.file, "The package without the new image");
    addFile(addNet, "NET", m_texts.other, "The network module image");
    addOutput(addNet, output);
    addNet.add_option("--release", m_texts.release, "The new package's release text")
        ->type_name("TEXT");

    CLI::App &makeNet =
        addCommand("make-net", "Make a network module image from a folder or an archive");
    addFile(makeNet, "SOURCE", m_texts.file, "A folder, or a bzip2-compressed tar archive");
    makeNet
        .add_option("--net-version", m_texts.netVersion,
                    "The version of the image, for example 1.23")
        ->type_name("VERSION")
        ->required()
        ->check(checkNetVersion);
    addOutput(makeNet, output);
}

std::optional<CommandOutcome> OptionReader::read(const QStringList &arguments)
{
    return m_line.read(arguments);
}

Options OptionReader::options() const
{
    const auto text = [](const std::string &word) { return QString::fromStdString(word); };
    Options options;
    options.command = m_line.command();
    options.file = text(m_texts.file);
    options.other = text(m_texts.other);
    options.output = text(m_texts.output);
    options.release = text(m_texts.release);
    options.keys = text(m_texts.keys);
    options.signature = text(m_texts.signature);
    options.netVersion = text(m_texts.netVersion);
    options.rows = text(m_texts.rows);
    options.device = text(m_texts.device);
    options.requestAll = m_texts.requestAll;
    options.force = m_texts.force;
    options.fillGaps = m_texts.fillGaps;
    if (!m_texts.mode.empty())
        options.mode = text(m_texts.mode).toInt();
    options.progress = !m_texts.noProgress;
    return options;
}
