// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Options.h"

#include "common/ExitCodes.h"
#include "device-simulator/ControlCommands.h"

#include <QCommandLineParser>

namespace {

struct OptionRow
{
    const char *name;
    const char *value;
    const char *help;
};

// clang-format off
const OptionRow rows[] = {
    {"device",       "FILE",         "The device to play, a JSON file."},
    {"replay",       "TRACE",        "Answer as a device once did, from its recorded trace."},
    {"pty-link",     "PATH",         "Make a pseudo-terminal and a link to it at PATH."},
    {"fd",           "N",            "Use the open descriptor N (a pseudo-terminal's master or a socket)."},
    {"listen",       "ADDRESS:PORT", "Listen for the host over TCP."},
    {"baud",         "RATE",         "Keep the times of a serial line, 57600 for example; or unpaced (default)."},
    {"fault",        "NAME[:ARGS]",  "Break in a named way (below). May be given several times."},
    {"seed",         "N",            "Seed of all random bytes (default 1)."},
    {"trace",        "FILE",         "Write every frame, decoded, to FILE."},
    {"control",      "SOCKET",       "Take control commands (below) on a local socket."},
    {"save-flash",   "DIR",          "Write the flash of each chip to DIR at the end."},
    {"print-frames", "",             "Show every frame, decoded, on standard error."},
};
// clang-format on

QString indented(const QString &title, const QStringList &lines)
{
    return QStringLiteral("\n%1:\n  %2\n").arg(title, lines.join(QStringLiteral("\n  ")));
}

/** For bash, from the same table as the options; what is no option is a file. */
QString bashCompletion()
{
    QStringList names{QStringLiteral("--help"), QStringLiteral("--version")};
    for (const OptionRow &row : rows)
        names.append(QLatin1String("--") + QLatin1String(row.name));
    return QStringLiteral("# bash completion for device-simulator\n"
                          "complete -o default -W '%1' device-simulator\n")
        .arg(names.join(QLatin1Char(' ')));
}

QString helpText(const QCommandLineParser &parser)
{
    return parser.helpText() + indented(QStringLiteral("Faults"), Fault::help()) +
           indented(QStringLiteral("Keys of every fault"), Fault::keyHelp()) +
           indented(QStringLiteral("Control commands"), ControlCommands::help());
}

bool readListen(const QString &text, Options &options)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    bool isPort = false;
    const QHostAddress address(text.left(colon));
    options.listenPort = text.midRef(colon + 1).toUShort(&isPort);
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

QString readFaults(const QStringList &texts, Options &options)
{
    QString error;
    for (const QString &text : texts) {
        const auto fault = Fault::parse(text, &error);
        if (!fault)
            return error;
        options.faults.append(*fault);
    }
    return {};
}

/** Reads every value; the text says which one is wrong. */
QString readValues(const QCommandLineParser &parser, Options &options)
{
    const auto value = [&](const char *name) { return parser.value(QLatin1String(name)); };
    const auto isSet = [&](const char *name) { return parser.isSet(QLatin1String(name)); };
    const auto wrong = [&](const char *name) {
        return QStringLiteral("--%1: cannot read '%2'").arg(QLatin1String(name), value(name));
    };
    options.devicePath = value("device");
    options.replayPath = value("replay");
    options.ptyLink = value("pty-link");
    options.tracePath = value("trace");
    options.controlPath = value("control");
    options.saveFlashPath = value("save-flash");
    options.printFrames = isSet("print-frames");
    bool isNumber = true;
    if (isSet("fd"))
        options.fd = value("fd").toInt(&isNumber);
    if (!isNumber || options.fd.value_or(0) < 0)
        return wrong("fd");
    if (isSet("seed"))
        options.seed = value("seed").toUInt(&isNumber);
    if (!isNumber)
        return wrong("seed");
    if (isSet("listen") && !readListen(value("listen"), options))
        return wrong("listen");
    if (!readBaud(value("baud"), options))
        return wrong("baud");
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("unexpected '%1'").arg(parser.positionalArguments().constFirst());
    if (options.devicePath.isEmpty() == options.replayPath.isEmpty())
        return QStringLiteral("give one of --device and --replay");
    for (const char *name : {"fault", "trace", "control", "save-flash", "print-frames"}) {
        if (isSet("replay") && isSet(name))
            return QStringLiteral("--%1 needs --device").arg(QLatin1String(name));
    }
    if (int(isSet("pty-link")) + int(isSet("fd")) + int(isSet("listen")) != 1)
        return QStringLiteral("give one of --pty-link, --fd and --listen");
    return readFaults(parser.values(QStringLiteral("fault")), options);
}

} // namespace

std::optional<Options> Options::parse(const QStringList &arguments, Other *other)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Plays the MCUs and FPGAs of a device on a serial line or over TCP."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption completion(QStringLiteral("bash-completion"),
                                        QStringLiteral("Print a completion script for bash."));
    parser.addOption(completion);
    for (const OptionRow &row : rows)
        parser.addOption(
            {QLatin1String(row.name), QLatin1String(row.help), QLatin1String(row.value)});

    const bool isParsed = parser.parse(arguments);
    if (isParsed && parser.isSet(help)) {
        *other = {0, helpText(parser)};
        return std::nullopt;
    }
    if (isParsed && parser.isSet(version)) {
        *other = {0, QStringLiteral("device-simulator %1\n").arg(QLatin1String(PROJECT_VERSION))};
        return std::nullopt;
    }
    if (isParsed && parser.isSet(completion)) {
        *other = {0, bashCompletion()};
        return std::nullopt;
    }
    Options options;
    const QString problem = isParsed ? readValues(parser, options) : parser.errorText();
    if (problem.isEmpty())
        return options;
    *other = {
        int(ExitCode::Usage),
        QStringLiteral("device-simulator: %1\nTry 'device-simulator --help'.\n").arg(problem)};
    return std::nullopt;
}
