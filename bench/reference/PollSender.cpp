// SPDX-License-Identifier: Apache-2.0
// The practical limit of a stop-and-wait sender: write, poll, read, and nothing else.
#include "reference/BlockStream.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int replyTimeOutMs = 15'000;

int openSerial(const char *path)
{
    const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios settings{};
    if (fd < 0 || tcgetattr(fd, &settings) != 0)
        return -1;
    cfmakeraw(&settings);
    cfsetspeed(&settings, B57600);
    return tcsetattr(fd, TCSANOW, &settings) == 0 ? fd : -1;
}

bool awaitReply(int fd, BlockStream &stream)
{
    for (;;) {
        pollfd state{fd, POLLIN, 0};
        if (poll(&state, 1, replyTimeOutMs) <= 0)
            return false;
        char bytes[64];
        const ssize_t count = read(fd, bytes, sizeof bytes);
        if (count <= 0)
            return false;
        const auto reply = stream.take(bytes, size_t(count));
        if (reply != BlockStream::Reply::Incomplete)
            return reply == BlockStream::Reply::Accepted;
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5) {
        std::fputs("usage: poll-sender DEVICE CHIP-TYPE CHIP-INDEX BLOCKS\n", stderr);
        return 2;
    }
    const int fd = openSerial(argv[1]);
    if (fd < 0) {
        std::perror(argv[1]);
        return 1;
    }
    BlockStream stream(uint8_t(std::atoi(argv[2])), uint8_t(std::atoi(argv[3])),
                       std::atoi(argv[4]));
    while (stream.next()) {
        const bool sent =
            write(fd, stream.frame(), stream.frameSize()) == ssize_t(stream.frameSize());
        if (!sent || !awaitReply(fd, stream)) {
            std::fputs("poll-sender: no acknowledgement\n", stderr);
            return 1;
        }
    }
    return 0;
}
