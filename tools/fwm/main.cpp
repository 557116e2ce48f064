// SPDX-License-Identifier: Apache-2.0
#include "common/Signals.h"
#include "fwm/Commands.h"

#include <QCoreApplication>

namespace {

struct Command
{
    const char *name;
    CommandOutcome (*run)(const Options &options);
};

constexpr Command commands[] = {
    {"info", runInfo},        {"verify", runVerify},   {"list", runList},   {"extract", runExtract},
    {"new", runNew},          {"explain", runExplain}, {"build", runBuild}, {"add-net", runAddNet},
    {"make-net", runMakeNet}, {"diff", runDiff},       {"plan", runPlan},
};

CommandOutcome run(const Options &options)
{
    for (const Command &command : commands) {
        if (options.command == QLatin1String(command.name))
            return command.run(options);
    }
    return CommandOutcome::failed(ProblemId::Usage, options.command);
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreWriteSignals();
    const QCoreApplication application(argc, argv);
    OptionReader reader;
    const std::optional<CommandOutcome> answer = reader.read(QCoreApplication::arguments());
    return reader.line().write(answer ? *answer : run(reader.options()));
}
