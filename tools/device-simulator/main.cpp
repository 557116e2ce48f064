// SPDX-License-Identifier: Apache-2.0
#include "common/Output.h"
#include "common/Signals.h"
#include "device-simulator/Options.h"
#include "device-simulator/Simulator.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSocketNotifier>

#include <unistd.h>

namespace {

CommandOutcome outcomeOf(const Simulator::Failure &failure)
{
    return failure ? CommandOutcome::failed(*failure) : CommandOutcome();
}

/** Reports that a host may connect; false when standard output cannot be written. */
bool writeReady(OutputForm form, const QString &address)
{
    const bool isText = form == OutputForm::Text;
    return writeAll(STDOUT_FILENO,
                    isText ? "ready " + address.toUtf8() + '\n'
                           : eventLine({{QStringLiteral("event"), QStringLiteral("ready")},
                                        {QStringLiteral("address"), address}}));
}

/** The simulation continues, since a host may be in the middle of a run. */
void writeTraceLost(OutputForm form, const QString &reason)
{
    const QString text = QStringLiteral("the trace ends here");
    if (form == OutputForm::Text)
        writeAll(STDERR_FILENO, QStringLiteral("device-simulator: warning: %1: %2 [trace-cut]\n")
                                    .arg(text, reason)
                                    .toUtf8());
    else
        writeAll(STDOUT_FILENO, eventLine({{QStringLiteral("event"), QStringLiteral("warning")},
                                           {QStringLiteral("id"), QStringLiteral("trace-cut")},
                                           {QStringLiteral("text"), text},
                                           {QStringLiteral("detail"), reason}}));
}

/** From the opened files to the end of the simulation. */
CommandOutcome run(Simulator &simulator, OutputForm form)
{
    const Simulator::Failure failure = simulator.start();
    if (failure)
        return outcomeOf(failure);
    QElapsedTimer clock;
    clock.start();
    if (!writeReady(form, simulator.address()))
        return CommandOutcome::failed(ProblemId::OutputUnwritable, {});
    QCoreApplication::exec();
    CommandOutcome outcome = outcomeOf(simulator.finish());
    outcome.json = {{QStringLiteral("address"), simulator.address()},
                    {QStringLiteral("seconds"), double(clock.elapsed()) / 1000.0},
                    {QStringLiteral("lost_bytes"), simulator.lostBytes()}};
    return outcome;
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreWriteSignals();
    const QCoreApplication application(argc, argv);
    OptionReader reader;
    const CommandLine &line = reader.line();
    if (const auto answer = reader.read(QCoreApplication::arguments()))
        return line.write(*answer);

    // Opening a pipe may block; until then a signal ends the program at once.
    const OutputForm form = line.form();
    Simulator simulator(reader.options(),
                        [form](const QString &reason) { writeTraceLost(form, reason); });
    if (const Simulator::Failure failure = simulator.openFiles())
        return line.write(outcomeOf(failure));

    QSocketNotifier endSignal(catchEndSignals(), QSocketNotifier::Read);
    QObject::connect(&endSignal, &QSocketNotifier::activated, &application,
                     [] { QCoreApplication::quit(); });
    return line.write(run(simulator, form));
}
