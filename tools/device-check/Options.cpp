// SPDX-License-Identifier: Apache-2.0
#include "device-check/Options.h"

#include <CLI/CLI.hpp>

using devicecheck::Chip;

namespace {

const CommandLine::Program program{
    "device-check", PROJECT_VERSION,
    "Checks a device against the MCU protocol, as a host that works through it point by point."};

enum class Value { None, Text, File };

struct OptionRow
{
    const char *name;
    Value value;
    const char *valueName;
    const char *help;
};

// clang-format off
const OptionRow optionRows[] = {
    {"--port",          Value::File, "PORT",         "The device is at this serial port, for example /dev/ttyUSB0."},
    {"--baud",          Value::Text, "RATE",         "Speed of the serial port (default 57600)."},
    {"--connect",       Value::Text, "HOST[:PORT]",  "The device is at this TCP address (port 6752 by default)."},
    {"--simulator",     Value::File, "FILE",         "Start device-simulator with this device file, and check it."},
    {"--control",       Value::File, "SOCKET",       "The device is a running simulator: switch its power with this control socket."},
    {"--chip",          Value::Text, "TYPE,INDEX",   "The device has this chip, too: one that the main MCU's record does not name. May be given several times."},
    {"--write",         Value::File, "IMAGE",        "Also do the checks that write: with this firmware image, for the target."},
    {"--target",        Value::Text, "TYPE,INDEX",   "The chip that is written (default: the main MCU)."},
    {"--image-version", Value::Text, "VERSION",      "The version that the chip has with the image, for example 1.2.0."},
    {"--yes",           Value::None, "",             "Write without the question."},
    {"--html",          Value::File, "FILE",         "Write the report as one HTML page, too."},
    {"--frames",        Value::None, "",             "Show the frames of every point, not only of failed ones."},
    {"--list",          Value::None, "",             "List the points and exit."},
};
// clang-format on

void addOption(CommandLine &line, const OptionRow &row)
{
    if (row.value == Value::None) {
        line.app().add_flag(row.name, row.help);
        return;
    }
    CLI::Option *option = line.app().add_option(row.name, row.help)->type_name(row.valueName);
    const bool isRepeated = std::string(row.name) == "--chip";
    option->multi_option_policy(isRepeated ? CLI::MultiOptionPolicy::TakeAll
                                           : CLI::MultiOptionPolicy::TakeLast);
    // Otherwise a comma would divide the values.
    option->allow_extra_args(false);
    if (row.value == Value::File)
        line.takesFile(option);
}

/** Numbers from 0 to 255; empty when the text is something else. */
QVector<quint8> numbersOf(const QString &text, QChar separator)
{
    QVector<quint8> numbers;
    for (const QString &part : text.split(separator)) {
        bool isNumber = false;
        const int number = part.toInt(&isNumber);
        if (!isNumber || number < 0 || number > 0xFF)
            return {};
        numbers.append(quint8(number));
    }
    return numbers;
}

std::optional<Chip> chipOf(const QString &text)
{
    const QVector<quint8> numbers = numbersOf(text, QLatin1Char(','));
    if (numbers.size() != 2)
        return std::nullopt;
    return Chip{numbers.at(0), numbers.at(1)};
}

/** "host", "host:port", "[::1]:port". */
bool readAddress(const QString &text, Options &options)
{
    const bool hasBrackets = text.startsWith(QLatin1Char('['));
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    const bool hasPort = hasBrackets ? text.indexOf(QLatin1String("]:")) == colon - 1
                                     : text.count(QLatin1Char(':')) == 1;
    options.host = hasPort ? text.left(colon) : text;
    if (hasBrackets)
        options.host = options.host.mid(1, options.host.indexOf(QLatin1Char(']')) - 1);
    if (!hasPort)
        return !options.host.isEmpty();
    options.tcpPort = text.mid(colon + 1).toUShort();
    return !options.host.isEmpty() && options.tcpPort != 0;
}

} // namespace

OptionReader::OptionReader() : m_line(program)
{
    for (const OptionRow &row : optionRows)
        addOption(m_line, row);
    m_line.addExitStatuses({ExitCode::Done, ExitCode::Failed, ExitCode::Usage,
                            ExitCode::CannotConnect, ExitCode::ConnectionLost,
                            ExitCode::PackageRefused, ExitCode::NotPassed});
}

QStringList OptionReader::values(const char *name) const
{
    QStringList values;
    for (const std::string &value : m_line.app().get_option(name)->results())
        values += QString::fromStdString(value);
    return values;
}

QString OptionReader::value(const char *name) const
{
    const QStringList all = values(name);
    return all.isEmpty() ? QString() : all.last();
}

QString OptionReader::readWhere()
{
    m_options.serialPort = value("--port");
    m_options.simulatedDevice = value("--simulator");
    if (isSet("--connect") && !readAddress(value("--connect"), m_options))
        return QStringLiteral("--connect: '%1' is not HOST or HOST:PORT").arg(value("--connect"));
    if (!isSet("--baud"))
        return {};
    constexpr int slowest = 50;
    constexpr int fastest = 4'000'000;
    m_options.baudRate = value("--baud").toInt();
    if (m_options.baudRate >= slowest && m_options.baudRate <= fastest)
        return {};
    return QStringLiteral("--baud: '%1' is not a speed from %2 to %3")
        .arg(value("--baud"))
        .arg(slowest)
        .arg(fastest);
}

QString OptionReader::readChips()
{
    const QString wrong = QStringLiteral("%1: '%2' is not TYPE,INDEX, two numbers from 0 to 255");
    const QStringList texts = values("--chip");
    for (const QString &text : texts) {
        const auto chip = chipOf(text);
        if (!chip)
            return wrong.arg(QStringLiteral("--chip"), text);
        m_options.chips.append(*chip);
    }
    if (!isSet("--target"))
        return {};
    m_options.target = chipOf(value("--target"));
    return m_options.target ? QString() : wrong.arg(QStringLiteral("--target"), value("--target"));
}

QString OptionReader::readVersion()
{
    if (!isSet("--image-version"))
        return {};
    const QVector<quint8> numbers = numbersOf(value("--image-version"), QLatin1Char('.'));
    if (numbers.size() != 2 && numbers.size() != 3)
        return QStringLiteral("--image-version: '%1' is not a version like 1.2 or 1.2.3")
            .arg(value("--image-version"));
    for (const quint8 number : numbers)
        m_options.imageVersion.append(char(number));
    return {};
}

QString OptionReader::wrongCombination() const
{
    if (int(isSet("--port")) + int(isSet("--connect")) + int(isSet("--simulator")) != 1)
        return QStringLiteral("give one of --port, --connect and --simulator");
    if (isSet("--baud") && !isSet("--port"))
        return QStringLiteral("--baud needs --port");
    if (isSet("--control") && isSet("--simulator"))
        return QStringLiteral("--control is for a simulator that runs already");
    for (const char *name : {"--target", "--image-version", "--yes"}) {
        if (isSet(name) && !isSet("--write"))
            return QStringLiteral("%1 needs --write").arg(QLatin1String(name));
    }
    return {};
}

std::optional<CommandOutcome> OptionReader::read(const QStringList &arguments)
{
    if (auto answer = m_line.read(arguments))
        return answer;
    m_options.listsPoints = isSet("--list");
    m_options.imagePath = value("--write");
    m_options.isConfirmed = isSet("--yes");
    m_options.controlSocket = value("--control");
    m_options.htmlPath = value("--html");
    m_options.showsFrames = isSet("--frames");
    if (m_options.listsPoints)
        return std::nullopt;
    for (const QString &problem : {readWhere(), readChips(), readVersion(), wrongCombination()}) {
        if (!problem.isEmpty())
            return m_line.wrong(problem);
    }
    return std::nullopt;
}
