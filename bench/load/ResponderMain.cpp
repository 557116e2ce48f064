// SPDX-License-Identifier: Apache-2.0
// Acts as the receiver of images on a pseudo-terminal, and prints its measurements of the sender as
// JSON: turnarounds, times, and the sender's processor time.
#include "load/CpuReader.h"
#include "load/Responder.h"

#include <CLI/CLI.hpp>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

volatile bool stopped = false;

void stop(int)
{
    stopped = true;
}

struct Options
{
    std::string link;
    std::string device;
    bool xmodem = false;
    pid_t sender = 0;
    bool onStandardStreams = false;
    std::vector<std::string> command;
    Responder::Settings settings;
};

void readOptions(CLI::App &application, Options &options)
{
    application.add_option("--link", options.link, "where the host's end appears")->required();
    application.add_option("--device", options.device, "a device file of the simulator");
    application.add_flag("--xmodem", options.xmodem, "receive XMODEM-1K instead");
    application.add_option("--baud", options.settings.baudRate);
    application.add_flag("--whole-replies", options.settings.wholeReplies,
                         "hand a reply over with its last byte");
    application.add_option("--blocks", options.settings.blocks, "how many blocks end it");
    application.add_option("--warm-up", options.settings.warmUp, "blocks that do not count");
    application.add_option("--sender", options.sender, "process whose CPU time is taken");
    application.add_flag("--stdio", options.onStandardStreams,
                         "the command sends on its standard streams");
    application.add_option("command", options.command, "a sender to start");
}

std::unique_ptr<Peer> makePeer(const Options &options)
{
    if (options.xmodem)
        return std::make_unique<XmodemPeer>();
    QFile file(QString::fromStdString(options.device));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(options.device + ": cannot be read");
    QString error;
    const auto description = DeviceDescription::fromJson(file.readAll(), &error);
    if (!description)
        throw std::runtime_error(error.toStdString());
    return std::make_unique<DevicePeer>(*description);
}

/** For the child of a fork only. */
[[noreturn]] void becomeSender(Options options, const std::string &path)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (options.onStandardStreams) {
        const int fd = open(path.c_str(), O_RDWR | O_NOCTTY);
        dup2(fd, STDIN_FILENO);
        dup2(fd, STDOUT_FILENO);
    }
    std::vector<char *> arguments;
    for (std::string &argument : options.command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    _exit(127);
}

void report(const Responder &responder, const Peer &peer, Nanoseconds cpu)
{
    const BlockTimes &times = responder.times();
    std::printf(
        "{\"blocks\": %d, \"counted\": %d, \"p50_ns\": %lld, \"p99_ns\": %lld, "
        "\"actual_ns\": %lld, \"wire_ns\": %lld, \"cpu_ns\": %lld, "
        "\"host_bytes\": %lld, \"device_bytes\": %lld, \"offended\": %s}\n",
        times.blocks(), times.counted(), percentile(times.turnarounds(), 0.5),
        percentile(times.turnarounds(), 0.99), static_cast<long long>(times.actualTime().count()),
        static_cast<long long>(times.wireTime().count()), static_cast<long long>(cpu.count()),
        responder.hostBytes(), responder.deviceBytes(), peer.isOffended() ? "true" : "false");
}

int measure(Options options)
{
    const auto peer = makePeer(options);
    Pty pty(options.link);
    Responder responder(pty, *peer, options.settings);
    std::printf("ready\n");
    std::fflush(stdout);
    if (!options.command.empty()) {
        options.sender = fork();
        if (options.sender == 0)
            becomeSender(options, pty.path());
    }
    Nanoseconds cpuBefore{0};
    responder.setWarmedUp([&] { cpuBefore = processorTime(options.sender); });
    responder.run(stopped);
    report(responder, *peer, processorTime(options.sender) - cpuBefore);
    if (!options.command.empty())
        kill(options.sender, SIGKILL);
    return 0;
}

} // namespace

int main(int argc, char **argv)
try {
    CLI::App application("Plays the receiver of images and takes the sender's times.");
    Options options;
    readOptions(application, options);
    CLI11_PARSE(application, argc, argv);
    struct sigaction action
    {
    };
    action.sa_handler = stop;
    for (const int signal : {SIGTERM, SIGINT, SIGCHLD})
        sigaction(signal, &action, nullptr);
    // Without this, waits may end late.
    prctl(PR_SET_TIMERSLACK, 1UL);
    return measure(options);
} catch (const std::exception &problem) {
    std::fprintf(stderr, "block-responder: %s\n", problem.what());
    return 1;
}
