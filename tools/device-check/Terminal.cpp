// SPDX-License-Identifier: Apache-2.0
#include "device-check/Terminal.h"

#include "common/Output.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

bool canAsk()
{
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

std::optional<QString> askPerson(const QString &question, std::chrono::milliseconds longest,
                                 int endSignals)
{
    constexpr int longestLine = 256;
    writeAll(STDERR_FILENO, question.toUtf8());
    pollfd inputs[] = {{STDIN_FILENO, POLLIN, 0}, {endSignals, POLLIN, 0}};
    int ready = 0;
    do
        ready = ::poll(inputs, std::size(inputs), int(longest.count()));
    while (ready < 0 && errno == EINTR);
    if (ready <= 0 || inputs[1].revents != 0)
        return std::nullopt;
    QByteArray line(longestLine, '\0');
    const ssize_t count = ::read(STDIN_FILENO, line.data(), size_t(line.size()));
    if (count <= 0)
        return std::nullopt;
    return QString::fromUtf8(line.left(int(count))).trimmed();
}
