// SPDX-License-Identifier: Apache-2.0
#include "common/Signals.h"
#include "upgrade-console/Command.h"
#include "upgrade-console/Preparation.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdlib>

int main(int argc, char *argv[])
{
    ignoreWriteSignals();
    const int signalDescriptor = catchEndSignals();
    const QCoreApplication application(argc, argv);

    OptionReader reader;
    const CommandLine &line = reader.line();
    if (const auto answer = reader.read(QCoreApplication::arguments()))
        return line.write(*answer);

    const auto command = makeCommand(reader.options());
    CommandOutcome early;
    switch (prepareBounded(*command, reader.options(), signalDescriptor, early)) {
    case Preparation::Done:
        break;
    case Preparation::Failed:
        return command->write(line, early);
    case Preparation::Abandoned:
        // The thread still reads, so the objects that it uses must stay alive.
        std::_Exit(command->write(line, early));
    }

    int exitStatus = int(ExitCode::Failed);
    QObject::connect(command.get(), &Command::finished, command.get(),
                     [&](const CommandOutcome &outcome) {
                         exitStatus = command->write(line, outcome);
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
