// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Preparation.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace {

/** The thread's result; it outlives this function when the thread is abandoned. */
struct Shared
{
    int finished = ::eventfd(0, EFD_CLOEXEC);
    bool isReady = false;
    CommandOutcome result;
};

CommandOutcome abandonedBy(bool isSignal, const Options &options)
{
    if (isSignal)
        return CommandOutcome::failed(ProblemId::Interrupted, {});
    return CommandOutcome::failed(ProblemId::FileUnreadable,
                                  QStringLiteral("%1: no end of it within %2 s")
                                      .arg(options.file)
                                      .arg(double(options.timeOut.count()) / 1000.0));
}

} // namespace

Preparation prepareBounded(Command &command, const Options &options, int signalDescriptor,
                           CommandOutcome &result)
{
    if (options.file.isEmpty())
        return command.prepare(result) ? Preparation::Done : Preparation::Failed;
    auto shared = std::make_shared<Shared>();
    std::thread reader([shared, &command] {
        shared->isReady = command.prepare(shared->result);
        ::eventfd_write(shared->finished, 1);
    });
    pollfd ends[] = {{shared->finished, POLLIN, 0}, {signalDescriptor, POLLIN, 0}};
    while (::poll(ends, std::size(ends), int(options.timeOut.count())) < 0 && errno == EINTR) {
    }
    if ((ends[0].revents & POLLIN) == 0) {
        reader.detach();
        result = abandonedBy((ends[1].revents & POLLIN) != 0, options);
        return Preparation::Abandoned;
    }
    reader.join();
    ::close(shared->finished);
    result = shared->result;
    return shared->isReady ? Preparation::Done : Preparation::Failed;
}
