// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <limits>

/** File descriptors; every console client uses one. */
namespace runtime::descriptors {

/** The current limit of the process. */
inline int limit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return std::numeric_limits<int>::max();
    return int(std::min<rlim_t>(limit.rlim_cur, std::numeric_limits<int>::max()));
}

/** Raises the limit to the hard limit. */
inline void raiseLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace runtime::descriptors
