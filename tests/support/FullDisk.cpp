// SPDX-License-Identifier: Apache-2.0
#include "support/FullDisk.h"

#include <csignal>
#include <sys/resource.h>

namespace {

/** Returns what held before. */
rlim_t limitFileSize(rlim_t bytes)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    return before;
}

} // namespace

FullDisk::FullDisk(unsigned long bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    m_before = limitFileSize(bytes);
}

FullDisk::~FullDisk()
{
    limitFileSize(m_before);
}
