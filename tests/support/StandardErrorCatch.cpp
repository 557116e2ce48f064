// SPDX-License-Identifier: Apache-2.0
#include "support/StandardErrorCatch.h"

#include <cstdlib>
#include <poll.h>
#include <unistd.h>

StandardErrorCatch::StandardErrorCatch() : m_before(::dup(STDERR_FILENO))
{
    if (m_before < 0 || ::pipe(m_ends.data()) != 0)
        std::abort();
    ::dup2(m_ends[1], STDERR_FILENO);
}

StandardErrorCatch::~StandardErrorCatch()
{
    ::dup2(m_before, STDERR_FILENO);
    for (const int end : {m_before, m_ends[0], m_ends[1]})
        ::close(end);
}

bool StandardErrorCatch::hasCaught() const
{
    pollfd input{m_ends[0], POLLIN, 0};
    return ::poll(&input, 1, 0) == 1;
}
