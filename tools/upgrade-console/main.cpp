// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Command.h"
#include "upgrade-console/ResultPrinter.h"
#include "upgrade-console/Terminal.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

/** Turns the signals that end a program into an event of the loop. */
int makeSignalDescriptor()
{
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}

bool writeLines(int descriptor, const QStringList &lines)
{
    return lines.isEmpty() || writeAll(descriptor, lines.join('\n').toUtf8() + '\n');
}

/** Answers without a run; wrong usage is an error like any other where JSON is asked for. */
int answer(const Options::Other &other, bool asJson)
{
    if (other.exitStatus == int(ExitCode::Done)) {
        const bool written = writeAll(STDOUT_FILENO, other.text.toUtf8());
        return int(written ? ExitCode::Done : ExitCode::Failed);
    }
    if (asJson) {
        const QJsonObject document{
            {"result", exitCodeName(ExitCode::Usage)},
            {"exit", int(ExitCode::Usage)},
            {"error", QJsonObject{{"cause", "usage"}, {"text", other.text.trimmed()}}},
        };
        writeAll(STDOUT_FILENO, QJsonDocument(document).toJson());
    }
    writeLines(STDERR_FILENO,
               {"upgrade-console: " + other.text.trimmed(), "Try 'upgrade-console --help'."});
    return other.exitStatus;
}

int report(Command &command, const Options &options, const CommandResult &result)
{
    bool written = true;
    if (options.json)
        command.writeJson(resultDocument(commandName(options.command), result));
    else
        written = writeLines(STDOUT_FILENO, result.output);
    writeLines(STDERR_FILENO, diagnosis(result));
    return int(written ? result.exit : ExitCode::Failed);
}

} // namespace

int main(int argc, char *argv[])
{
    const int signalDescriptor = makeSignalDescriptor();
    const QCoreApplication application(argc, argv);

    Options::Other other;
    const auto options = Options::parse(QCoreApplication::arguments(), &other);
    if (!options)
        return answer(other, QCoreApplication::arguments().contains("--json"));

    const auto command = makeCommand(*options);
    CommandResult early;
    if (!command->prepare(early))
        return report(*command, *options, early);

    int exitStatus = int(ExitCode::Failed);
    QObject::connect(command.get(), &Command::finished, command.get(),
                     [&](const CommandResult &result) {
                         exitStatus = report(*command, *options, result);
                         QCoreApplication::exit(exitStatus);
                     });
    QSocketNotifier endSignal(signalDescriptor, QSocketNotifier::Read);
    QObject::connect(&endSignal, &QSocketNotifier::activated, command.get(), [&] {
        endSignal.setEnabled(false);
        command->interrupt();
    });
    command->run();
    QCoreApplication::exec();
    return exitStatus;
}
