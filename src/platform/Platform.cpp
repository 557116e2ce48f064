// SPDX-License-Identifier: Apache-2.0
#include "platform/Platform.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace platform {

namespace {

void runCommand(const QString &command)
{
    const int exitStatus = std::system(command.toLocal8Bit().constData());
    Q_UNUSED(exitStatus)
}

QByteArray readFirstCharacters(const QString &command, int count)
{
    FILE *pipe = popen(command.toLocal8Bit().constData(), "r");
    if (pipe == nullptr)
        return {};
    QByteArray line(count + 1, '\0');
    const char *read = std::fgets(line.data(), line.size(), pipe);
    const QByteArray result = read == nullptr ? QByteArray() : QByteArray(read);
    pclose(pipe);
    return result;
}

} // namespace

Shell Shell::system()
{
    return {runCommand, readFirstCharacters};
}

} // namespace platform
