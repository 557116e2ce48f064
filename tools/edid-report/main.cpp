// SPDX-License-Identifier: Apache-2.0
#include "DumpReader.h"
#include "ReportPrinter.h"
#include "common/CommandLine.h"
#include "common/Signals.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <QFile>

namespace {

const CommandLine::Program program{"edid-report", EDID_REPORT_VERSION,
                                   "Prints the upgrade agent's report of an EDID dump."};

CommandOutcome report(const QString &fileName)
{
    const bool isInput = fileName == "-";
    const QString shown = isInput ? QStringLiteral("standard input") : fileName;
    QFile file(fileName);
    const bool isOpen =
        isInput ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!isOpen)
        return CommandOutcome::failed(ProblemId::FileUnreadable, shown + ": " + file.errorString());
    const DumpReading reading = readDump(file);
    if (!reading.error.isEmpty())
        return CommandOutcome::failed(ProblemId::NotAnEdid, shown + ": " + reading.error);

    const DumpReport written = reportDump(reading.bytes);
    CommandOutcome outcome;
    outcome.text = reportText(written);
    outcome.json = reportJson(written);
    outcome.json["file"] = fileName;
    if (reading.extensionMissing)
        outcome.warnings = {{QStringLiteral("extension-missing"),
                             QStringLiteral("the extension block is missing and read as zeros"),
                             shown}};
    return outcome;
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreWriteSignals();
    const QCoreApplication application(argc, argv);

    CommandLine line(program);
    std::string file;
    line.takesFile(line.app()
                       .add_option("FILE", file,
                                   "EDID dump, binary or hexadecimal text; - reads standard input.")
                       ->type_name("")
                       ->required());
    line.addExitStatuses({ExitCode::Done, ExitCode::Failed, ExitCode::Usage});
    const auto answer = line.read(QCoreApplication::arguments());
    return line.write(answer ? *answer : report(QString::fromStdString(file)));
}
