// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>

/** Redirects standard error to a pipe while the object exists. */
class StandardErrorCatch
{
public:
    StandardErrorCatch()
    {
        if (m_before < 0 || ::pipe(m_ends.data()) != 0)
            std::abort();
        ::dup2(m_ends[1], STDERR_FILENO);
    }
    ~StandardErrorCatch()
    {
        ::dup2(m_before, STDERR_FILENO);
        for (const int end : {m_before, m_ends[0], m_ends[1]})
            ::close(end);
    }
    StandardErrorCatch(const StandardErrorCatch &) = delete;
    StandardErrorCatch &operator=(const StandardErrorCatch &) = delete;

    bool hasCaught() const
    {
        pollfd input{m_ends[0], POLLIN, 0};
        return ::poll(&input, 1, 0) == 1;
    }

private:
    std::array<int, 2> m_ends{-1, -1};
    const int m_before = ::dup(STDERR_FILENO);
};
