// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Options.h"
#include "device-simulator/Simulator.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

namespace {

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
    std::fprintf(stderr, "device-simulator: %s\n", qPrintable(problem));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const int signalDescriptor = makeSignalDescriptor();
    const QCoreApplication application(argc, argv);

    Options::Other other;
    const auto options = Options::parse(QCoreApplication::arguments(), &other);
    if (!options) {
        std::fputs(qPrintable(other.text), other.exitStatus == 0 ? stdout : stderr);
        return other.exitStatus;
    }

    Simulator simulator(*options);
    const QString problem = simulator.start();
    if (!problem.isEmpty())
        return fail(problem);

    QSocketNotifier endSignal(signalDescriptor, QSocketNotifier::Read);
    QObject::connect(&endSignal, &QSocketNotifier::activated, &application,
                     [] { QCoreApplication::quit(); });
    std::printf("ready %s\n", qPrintable(simulator.address()));
    std::fflush(stdout);

    QCoreApplication::exec();
    const QString saveProblem = simulator.finish();
    return saveProblem.isEmpty() ? 0 : fail(saveProblem);
}
