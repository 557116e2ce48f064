// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>

/** Reduces the process's limit on descriptors while the object exists. */
class FewDescriptors
{
public:
    explicit FewDescriptors(rlim_t limit)
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit few = m_before;
        few.rlim_cur = limit;
        setrlimit(RLIMIT_NOFILE, &few);
    }
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before = {};
};
