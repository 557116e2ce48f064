// SPDX-License-Identifier: Apache-2.0
// Starts a program again and again, and prints the nanoseconds from its start to its end, or to
// the moment it accepts a connection.
#include "load/Percentiles.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr auto connectPause = 20us;
constexpr auto longestStart = 10s;
constexpr uint16_t firstOwnPort = 20'000;
constexpr uint16_t lastOwnPort = 29'999;

pid_t start(std::vector<std::string> &command)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_WRONLY, 0);
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string &argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    pid_t pid = -1;
    const int error =
        posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/** Binds a port: with one of the kernel's choice, rare attempts would connect to themselves. */
bool accepts(uint16_t port)
{
    static uint16_t ownPort = firstOwnPort;
    ownPort = ownPort == lastOwnPort ? firstOwnPort : uint16_t(ownPort + 1);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in own = loopback(ownPort);
    const sockaddr_in server = loopback(port);
    const bool accepted =
        bind(fd, reinterpret_cast<const sockaddr *>(&own), sizeof own) == 0 &&
        connect(fd, reinterpret_cast<const sockaddr *>(&server), sizeof server) == 0;
    close(fd);
    return accepted;
}

bool awaitEnd(pid_t pid)
{
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) != 127;
}

bool awaitListening(pid_t pid, uint16_t port, Nanoseconds &end)
{
    const auto limit = now() + longestStart;
    bool listening = false;
    while (!(listening = accepts(port)) && now() < limit)
        std::this_thread::sleep_for(connectPause);
    end = now();
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return listening;
}

} // namespace

int main(int argc, char **argv)
try {
    CLI::App application("Times how long a program takes to end, or to listen.");
    int count = 1;
    uint16_t port = 0;
    std::vector<std::string> command;
    application.add_option("--count", count);
    application.add_option("--listens-on", port, "a TCP port; without it the program's end counts");
    application.add_option("command", command)->required();
    CLI11_PARSE(application, argc, argv);

    for (int i = 0; i < count; ++i) {
        const auto begin = now();
        const pid_t pid = start(command);
        Nanoseconds end{0};
        const bool done = pid > 0 && (port != 0 ? awaitListening(pid, port, end) : awaitEnd(pid));
        if (!done) {
            std::fprintf(stderr, "process-timer: '%s' failed\n", command.front().c_str());
            return 1;
        }
        if (port == 0)
            end = now();
        std::printf("%lld\n", static_cast<long long>((end - begin).count()));
    }
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "process-timer: %s\n", problem.what());
    return 1;
}
