// SPDX-License-Identifier: Apache-2.0
#include "common/ExitCodes.h"
#include "common/Output.h"
#include "device-simulator/Options.h"
#include "device-simulator/Simulator.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

namespace {

const char *const program = "device-simulator";

/** Turns the signals that end a program into an event of the loop. */
int makeSignalDescriptor()
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}

int fail(const QString &problem)
{
    std::fprintf(stderr, "%s: %s\n", program, qPrintable(problem));
    return int(ExitCode::Failed);
}

/** Help, or what is wrong with the command line. */
int answer(const Options::Other &other)
{
    if (other.exitStatus == int(ExitCode::Done))
        return int(writeOutput(program, other.text.toLocal8Bit()) ? ExitCode::Done
                                                                  : ExitCode::Failed);
    std::fputs(qPrintable(other.text), stderr);
    return other.exitStatus;
}

int run(Simulator &simulator)
{
    QString problem = simulator.start();
    if (!problem.isEmpty())
        return fail(problem);
    const QString address = simulator.address();
    if (!writeOutput(program, "ready " + address.toLocal8Bit() + '\n'))
        return int(ExitCode::Failed);
    QCoreApplication::exec();
    problem = simulator.finish();
    return problem.isEmpty() ? int(ExitCode::Done) : fail(problem);
}

} // namespace

int main(int argc, char *argv[])
{
    // A pipe without a reader is then an error of the write like a full disk.
    std::signal(SIGPIPE, SIG_IGN);
    const QCoreApplication application(argc, argv);

    Options::Other other;
    const auto options = Options::parse(QCoreApplication::arguments(), &other);
    if (!options)
        return answer(other);

    // Files may be pipes, on which it waits; until then a signal ends the program at once.
    Simulator simulator(*options);
    const QString problem = simulator.openFiles();
    if (!problem.isEmpty())
        return fail(problem);

    QSocketNotifier endSignal(makeSignalDescriptor(), QSocketNotifier::Read);
    QObject::connect(&endSignal, &QSocketNotifier::activated, &application,
                     [] { QCoreApplication::quit(); });
    return run(simulator);
}
