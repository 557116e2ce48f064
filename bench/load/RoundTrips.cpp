// SPDX-License-Identifier: Apache-2.0
// Sends one request again and again, and prints the nanoseconds of each round trip. Every further
// reply must be equal to the first one, byte for byte.
#include "load/Percentiles.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Options
{
    uint16_t port = 0;
    int count = 1;
    std::string request;
    /** After so much silence the first reply is complete. */
    int silenceMs = 300;
    int firstByteMs = 30'000;
};

int connectTo(uint16_t port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const bool connected =
        connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    return connected ? fd : -1;
}

bool readSome(int fd, std::string &reply, int timeOutMs)
{
    pollfd state{fd, POLLIN, 0};
    if (poll(&state, 1, timeOutMs) <= 0)
        return false;
    char bytes[64 * 1024];
    const ssize_t count = read(fd, bytes, sizeof bytes);
    if (count > 0)
        reply.append(bytes, size_t(count));
    return count > 0;
}

std::string learnReply(int fd, const Options &options)
{
    std::string reply;
    int timeOut = options.firstByteMs;
    if (write(fd, options.request.data(), options.request.size()) < 0)
        return reply;
    while (readSome(fd, reply, timeOut))
        timeOut = options.silenceMs;
    return reply;
}

bool roundTrip(int fd, const Options &options, const std::string &expected)
{
    std::string reply;
    const auto start = now();
    if (write(fd, options.request.data(), options.request.size()) < 0)
        return false;
    while (reply.size() < expected.size()) {
        if (!readSome(fd, reply, options.firstByteMs))
            return false;
    }
    std::printf("%lld\n", static_cast<long long>((now() - start).count()));
    return reply == expected;
}

} // namespace

int main(int argc, char **argv)
try {
    CLI::App application("Times the round trips of one request.");
    Options options;
    application.add_option("--port", options.port)->required();
    application.add_option("--count", options.count);
    application.add_option("--request", options.request)->required();
    application.add_option("--silence", options.silenceMs, "milliseconds that end the first reply");
    CLI11_PARSE(application, argc, argv);
    options.request += "\r\n";

    const int fd = connectTo(options.port);
    const std::string expected = fd < 0 ? std::string() : learnReply(fd, options);
    if (expected.empty()) {
        std::fputs("round-trips: no reply\n", stderr);
        return 1;
    }
    std::fprintf(stderr, "%s", expected.c_str());
    for (int i = 0; i < options.count; ++i) {
        if (!roundTrip(fd, options, expected)) {
            std::fputs("round-trips: another reply, or none\n", stderr);
            return 1;
        }
    }
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "round-trips: %s\n", problem.what());
    return 1;
}
