// SPDX-License-Identifier: Apache-2.0
#include "common/ExitCodes.h"

const QVector<ExitCodeWords> &exitCodes()
{
    static const QVector<ExitCodeWords> all{
        {ExitCode::Done, "done", "Done."},
        {ExitCode::Failed, "failed", "Failed; the message has the reason."},
        {ExitCode::Usage, "usage", "The command line is wrong."},
        {ExitCode::NothingToDo, "nothing-to-do", "Nothing to do."},
        {ExitCode::DeviceBusy, "busy", "The device is busy with an upgrade."},
        {ExitCode::CannotConnect, "cannot-connect", "The connection failed."},
        {ExitCode::ConnectionLost, "connection-lost",
         "The connection was lost, or the agent did not answer in time."},
        {ExitCode::PackageRefused, "package-refused", "The package or image is not valid."},
        {ExitCode::NoRun, "no-run", "No upgrade is active."},
        {ExitCode::NotTrusted, "not-trusted", "The package is not signed by a trusted key."},
        {ExitCode::NotPassed, "not-passed",
         "A required point of the checks failed or was not tested."},
    };
    return all;
}

QString exitCodeName(ExitCode code)
{
    return QString::fromLatin1(exitCodes().at(int(code)).name);
}
