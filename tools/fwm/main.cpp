// SPDX-License-Identifier: Apache-2.0
#include "fwm/Commands.h"

#include <QCoreApplication>

#include <csignal>

namespace {

struct Command
{
    const char *name;
    Outcome (*run)(const Options &options);
};

constexpr Command commands[] = {
    {"info", runInfo},        {"verify", runVerify}, {"list", runList},
    {"extract", runExtract},  {"build", runBuild},   {"add-net", runAddNet},
    {"make-net", runMakeNet}, {"diff", runDiff},     {"plan", runPlan},
};

} // namespace

int main(int argc, char *argv[])
{
    // A file-size limit is then an error of the write like a full disk, and no reason to die
    // with a half-written file.
    std::signal(SIGXFSZ, SIG_IGN);
    // The same for a pipe without a reader.
    std::signal(SIGPIPE, SIG_IGN);
    const QCoreApplication application(argc, argv);

    const CommandLine line = readCommandLine(argc, argv);
    if (!line.options)
        return line.exitStatus;
    for (const Command &command : commands) {
        if (line.options->command == QLatin1String(command.name))
            return report(command.run(*line.options), line.options->command, line.options->json);
    }
    return int(ExitCode::Usage);
}
