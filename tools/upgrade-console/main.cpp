// SPDX-License-Identifier: Apache-2.0
#include "common/Output.h"
#include "upgrade-console/Command.h"
#include "upgrade-console/Preparation.h"
#include "upgrade-console/ResultPrinter.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <cstdlib>
#include <sys/signalfd.h>
#include <unistd.h>

using client::Cause;
using client::causeRow;

namespace {

const char *const program = "upgrade-console";

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
int answer(const Options::Other &other, const QStringList &arguments)
{
    const bool asLine = arguments.contains(QLatin1String("--json-progress"));
    const bool asJson = asLine || arguments.contains(QLatin1String("--json"));
    if (other.exitStatus == int(ExitCode::Done))
        return int(writeOutput(program, other.text.toUtf8()) ? ExitCode::Done : ExitCode::Failed);
    if (asJson) {
        QJsonObject document{
            {"result", exitCodeName(ExitCode::Usage)},
            {"exit", int(ExitCode::Usage)},
            {"error", QJsonObject{{"cause", "usage"}, {"text", other.text.trimmed()}}},
        };
        if (asLine)
            document["event"] = QStringLiteral("result");
        const QByteArray text = QJsonDocument(document).toJson(asLine ? QJsonDocument::Compact
                                                                      : QJsonDocument::Indented);
        writeAll(STDOUT_FILENO, asLine ? text + '\n' : text);
    }
    writeLines(STDERR_FILENO,
               {"upgrade-console: " + other.text.trimmed(), "Try 'upgrade-console --help'."});
    return other.exitStatus;
}

CommandResult unwritable()
{
    CommandResult result;
    result.cause = Cause::OutputUnwritable;
    result.exit = causeRow(result.cause).exit;
    return result;
}

int report(Command &command, const Options &options, const CommandResult &result)
{
    const bool isWritten =
        options.json ? command.writeJson(resultDocument(commandName(options.command), result))
                     : writeLines(STDOUT_FILENO, result.output);
    writeLines(STDERR_FILENO, diagnosis(result));
    if (isWritten)
        return int(result.exit);
    if (result.cause != Cause::OutputUnwritable)
        writeLines(STDERR_FILENO, diagnosis(unwritable()));
    return int(ExitCode::Failed);
}

} // namespace

int main(int argc, char *argv[])
{
    const int signalDescriptor = makeSignalDescriptor();
    const QCoreApplication application(argc, argv);

    Options::Other other;
    const auto options = Options::parse(QCoreApplication::arguments(), &other);
    if (!options)
        return answer(other, QCoreApplication::arguments());

    const auto command = makeCommand(*options);
    CommandResult early;
    switch (prepareBounded(*command, *options, signalDescriptor, early)) {
    case Preparation::Done:
        break;
    case Preparation::Failed:
        return report(*command, *options, early);
    case Preparation::Abandoned:
        // The thread still reads; nothing that it uses may be taken from it.
        std::_Exit(report(*command, *options, early));
    }

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
    // From within the loop, since a connection that fails at once ends the command at once.
    QTimer::singleShot(0, command.get(), &Command::run);
    QCoreApplication::exec();
    return exitStatus;
}
