// SPDX-License-Identifier: Apache-2.0
#include "platform/Platform.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

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

bool syncFileSystemOf(const QString &path)
{
    // Opening a FIFO that nothing writes to would block without O_NONBLOCK.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool isSynced = ::syncfs(descriptor) == 0;
    ::close(descriptor);
    return isSynced;
}

/** The arguments are separated by zero bytes, and the last one ends with one, too. */
bool isCommandLineEnd(const QString &process, const QByteArray &argument)
{
    QFile file(QStringLiteral("/proc/%1/cmdline").arg(process));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    return file.readAll().endsWith('\0' + argument + '\0');
}

bool hasProcessWith(const QString &argument)
{
    const QByteArray last = QFile::encodeName(argument);
    const QStringList processes =
        QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs);
    for (const QString &process : processes) {
        if (isCommandLineEnd(process, last))
            return true;
    }
    return false;
}

} // namespace

OperatingSystem OperatingSystem::real()
{
    return {syncFileSystemOf, hasProcessWith};
}

Shell Shell::system()
{
    return {runCommand, readFirstCharacters};
}

} // namespace platform
