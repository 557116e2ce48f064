// SPDX-License-Identifier: Apache-2.0
#include "DumpReader.h"
#include "ReportPrinter.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#include <cstdio>

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

void complain(const QString &message)
{
    std::fprintf(stderr, "edid-report: %s\n", qPrintable(message));
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

/** For bash; what is no option is a file. */
int printCompletion(const QList<QCommandLineOption> &options)
{
    QStringList names{"--help", "--version"};
    for (const QCommandLineOption &option : options)
        names.append("--" + option.names().constFirst());
    std::printf("# bash completion for edid-report\n"
                "complete -o default -W '%s' edid-report\n",
                qPrintable(names.join(' ')));
    return 0;
}

int report(const QString &file, bool asJson)
{
    const DumpReading reading = readNamed(file);
    const QString name = file == "-" ? QStringLiteral("standard input") : file;
    if (!reading.error.isEmpty()) {
        complain(name + ": " + reading.error);
        return exitFailure;
    }
    if (reading.extensionMissing)
        complain(name + ": the extension block is missing; read as zeros");

    const DumpReport written = reportDump(reading.bytes);
    const QByteArray output = asJson ? reportJson(written) : reportText(written);
    const auto size = std::size_t(output.size());
    if (std::fwrite(output.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0) {
        complain("standard output cannot be written");
        return exitFailure;
    }
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("edid-report");
    QCoreApplication::setApplicationVersion(EDID_REPORT_VERSION);

    QCommandLineParser parser;
    parser.setApplicationDescription("Shows what the upgrade agent reports of a display's EDID.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption json("json", "Write the report as a JSON object.");
    const QCommandLineOption completion("bash-completion", "Print a completion script for bash.");
    parser.addOptions({json, completion});
    parser.addPositionalArgument(
        "FILE", "EDID dump, binary or hexadecimal text; - reads standard input.", "FILE|-");
    if (!parser.parse(QCoreApplication::arguments())) {
        complain(parser.errorText());
        return exitUsage;
    }
    // Acts on --help and --version, which end the program.
    parser.process(application);

    if (parser.isSet(completion))
        return printCompletion({json});

    const QStringList files = parser.positionalArguments();
    if (files.size() != 1) {
        complain("give one FILE, or - for standard input; --help tells more");
        return exitUsage;
    }
    return report(files.first(), parser.isSet(json));
}
