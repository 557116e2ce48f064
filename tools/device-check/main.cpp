// SPDX-License-Identifier: Apache-2.0
#include "common/Signals.h"
#include "device-check/DeviceCheck.h"
#include "device-check/Options.h"
#include "device-check/Report.h"

#include <QCoreApplication>

namespace {

CommandOutcome listOfPoints()
{
    CommandOutcome outcome;
    outcome.text = devicecheck::textList();
    outcome.json = devicecheck::jsonList();
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
    if (reader.options().listsPoints)
        return line.write(listOfPoints());
    DeviceCheck check(reader.options(), catchEndSignals());
    return line.write(check.run());
}
