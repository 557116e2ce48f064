// SPDX-License-Identifier: Apache-2.0
#include "DumpReader.h"
#include "ReportPrinter.h"
#include "common/ExitCodes.h"
#include "common/Output.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstdio>

namespace {

const char *const program = "edid-report";

void complain(const QString &message)
{
    std::fprintf(stderr, "%s: %s\n", program, qPrintable(message));
}

DumpReading readNamed(const QString &name)
{
    QFile file(name);
    const bool open =
        name == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    DumpReading reading;
    if (open)
        reading = readDump(file);
    else
        reading.error = file.errorString();
    return reading;
}

int answer(const QByteArray &text)
{
    return int(writeOutput(program, text) ? ExitCode::Done : ExitCode::Failed);
}

/** For bash; an argument that is not an option is a file. */
QByteArray completionScript(const QList<QCommandLineOption> &options)
{
    QStringList names{"--help", "--version"};
    for (const QCommandLineOption &option : options)
        names.append("--" + option.names().constFirst());
    return QStringLiteral("# bash completion for edid-report\n"
                          "complete -o default -W '%1' edid-report\n")
        .arg(names.join(' '))
        .toUtf8();
}

int report(const QString &file, bool asJson)
{
    const DumpReading reading = readNamed(file);
    const QString name = file == "-" ? QStringLiteral("standard input") : file;
    if (!reading.error.isEmpty()) {
        complain(name + ": " + reading.error);
        return int(ExitCode::Failed);
    }
    if (reading.extensionMissing)
        complain(name + ": the extension block is missing; read as zeros");

    const DumpReport written = reportDump(reading.bytes);
    return answer(asJson ? reportJson(written) : reportText(written));
}

} // namespace

int main(int argc, char *argv[])
{
    // A pipe without a reader is then an error of the write like a full disk.
    std::signal(SIGPIPE, SIG_IGN);
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("edid-report");
    QCoreApplication::setApplicationVersion(EDID_REPORT_VERSION);

    QCommandLineParser parser;
    parser.setApplicationDescription("Shows what the upgrade agent reports of a display's EDID.");
    const QCommandLineOption help({"h", "help"}, "Show this help.");
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption json("json", "Write the report as a JSON object.");
    const QCommandLineOption completion("bash-completion", "Print a completion script for bash.");
    parser.addOptions({json, completion});
    parser.addPositionalArgument(
        "FILE", "EDID dump, binary or hexadecimal text; - reads standard input.", "FILE|-");
    if (!parser.parse(QCoreApplication::arguments())) {
        complain(parser.errorText());
        return int(ExitCode::Usage);
    }
    if (parser.isSet(help))
        return answer(parser.helpText().toUtf8());
    if (parser.isSet(version))
        return answer(QByteArray(program) + " " EDID_REPORT_VERSION "\n");
    if (parser.isSet(completion))
        return answer(completionScript({json}));

    const QStringList files = parser.positionalArguments();
    if (files.size() != 1) {
        complain("give one FILE, or - for standard input; --help tells more");
        return int(ExitCode::Usage);
    }
    return report(files.first(), parser.isSet(json));
}
