// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Options.h"

#include "device-simulator/ControlCommands.h"

#include <CLI/CLI.hpp>

namespace {

const CommandLine::Program program{
    "device-simulator", PROJECT_VERSION,
    "Simulates the MCUs and FPGAs of a device on a serial line or over TCP.", OutputForm::JsonLines,
    "Write JSON lines: one when a host may connect, and the result as the last one."};

enum class Value { None, Text, File, Folder };

struct OptionRow
{
    const char *name;
    Value value;
    const char *valueName;
    const char *help;
};

// clang-format off
const OptionRow optionRows[] = {
    {"--device",       Value::File,   "FILE",         "The device to simulate, a JSON file."},
    {"--replay",       Value::File,   "TRACE",        "Answer from the recorded trace of a device."},
    {"--pty-link",     Value::File,   "PATH",         "Create a pseudo-terminal, and a link to it at PATH."},
    {"--fd",           Value::Text,   "N",            "Use the open descriptor N (a pseudo-terminal's master or a socket)."},
    {"--listen",       Value::Text,   "ADDRESS:PORT", "Listen for the host over TCP."},
    {"--baud",         Value::Text,   "RATE",         "Simulate the timing of a serial line, for example 57600 (default: no delays)."},
    {"--fault",        Value::Text,   "NAME[:ARGS]",  "Inject a fault of the list below. May be given several times."},
    {"--seed",         Value::Text,   "N",            "Seed of all random bytes (default 1)."},
    {"--trace",        Value::File,   "FILE",         "Write every frame, decoded, to FILE."},
    {"--control",      Value::File,   "SOCKET",       "Accept the control commands below on a local socket."},
    {"--save-flash",   Value::Folder, "DIR",          "Write the flash of each chip to DIR at the end."},
    {"--print-frames", Value::None,   "",             "Show every frame, decoded, on standard error."},
};
// clang-format on

void addOption(CommandLine &line, const OptionRow &row)
{
    if (row.value == Value::None) {
        line.app().add_flag(row.name, row.help);
        return;
    }
    CLI::Option *option = line.app().add_option(row.name, row.help)->type_name(row.valueName);
    const bool isRepeated = std::string(row.name) == "--fault";
    option->multi_option_policy(isRepeated ? CLI::MultiOptionPolicy::TakeAll
                                           : CLI::MultiOptionPolicy::TakeLast);
    if (row.value == Value::File)
        line.takesFile(option);
    else if (row.value == Value::Folder)
        line.takesFolder(option);
}

bool readListen(const QString &text, Options &options)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    bool isPort = false;
    const QHostAddress address(text.left(colon));
    options.listenPort = text.mid(colon + 1).toUShort(&isPort);
    if (colon < 0 || !isPort || address.isNull())
        return false;
    options.listenAddress = address;
    return true;
}

bool readBaud(const QString &text, Options &options)
{
    if (text.isEmpty() || text == QLatin1String("unpaced"))
        return true;
    bool isNumber = false;
    options.baudRate = text.toInt(&isNumber);
    return isNumber && options.baudRate >= 50 && options.baudRate <= 4'000'000;
}

} // namespace

OptionReader::OptionReader() : m_line(program)
{
    for (const OptionRow &row : optionRows)
        addOption(m_line, row);
    m_line.addExitStatuses({ExitCode::Done, ExitCode::Failed, ExitCode::Usage});
    m_line.addHelp(QStringLiteral("Faults"), Fault::help());
    m_line.addHelp(QStringLiteral("Keys of every fault"), Fault::keyHelp());
    m_line.addHelp(QStringLiteral("Control commands"), ControlCommands::help());
}

QStringList OptionReader::values(const char *name) const
{
    QStringList values;
    for (const std::string &value : m_line.app().get_option(name)->results())
        values += QString::fromStdString(value);
    return values;
}

QString OptionReader::wrongValue(const char *name) const
{
    return QStringLiteral("%1: cannot read '%2'").arg(QLatin1String(name), value(name));
}

/** Each of these texts is an error. */
QString OptionReader::readNumbers()
{
    bool isNumber = true;
    if (isSet("--fd"))
        m_options.fd = value("--fd").toInt(&isNumber);
    if (!isNumber || m_options.fd.value_or(0) < 0)
        return wrongValue("--fd");
    if (isSet("--seed"))
        m_options.seed = value("--seed").toUInt(&isNumber);
    if (!isNumber)
        return wrongValue("--seed");
    if (isSet("--listen") && !readListen(value("--listen"), m_options))
        return wrongValue("--listen");
    return readBaud(value("--baud"), m_options) ? QString() : wrongValue("--baud");
}

QString OptionReader::readFaults()
{
    QString error;
    const QStringList texts = values("--fault");
    for (const QString &text : texts) {
        const auto fault = Fault::parse(text, &error);
        if (!fault)
            return error;
        m_options.faults.append(*fault);
    }
    return {};
}

QString OptionReader::wrongCombination() const
{
    if (m_options.devicePath.isEmpty() == m_options.replayPath.isEmpty())
        return QStringLiteral("give one of --device and --replay");
    for (const char *name : {"--fault", "--trace", "--control", "--save-flash", "--print-frames"}) {
        if (isSet("--replay") && isSet(name))
            return QStringLiteral("%1 needs --device").arg(QLatin1String(name));
    }
    if (int(isSet("--pty-link")) + int(isSet("--fd")) + int(isSet("--listen")) != 1)
        return QStringLiteral("give one of --pty-link, --fd and --listen");
    return {};
}

std::optional<CommandOutcome> OptionReader::read(const QStringList &arguments)
{
    if (auto answer = m_line.read(arguments))
        return answer;
    m_options.devicePath = value("--device");
    m_options.replayPath = value("--replay");
    m_options.ptyLink = value("--pty-link");
    m_options.tracePath = value("--trace");
    m_options.controlPath = value("--control");
    m_options.saveFlashPath = value("--save-flash");
    m_options.printFrames = isSet("--print-frames");
    for (const QString &problem : {readNumbers(), wrongCombination(), readFaults()}) {
        if (!problem.isEmpty())
            return m_line.wrong(problem);
    }
    return std::nullopt;
}
