// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

/** Redirects standard error to a pipe while the object exists. */
class StandardErrorCatch
{
public:
    StandardErrorCatch();
    ~StandardErrorCatch();
    StandardErrorCatch(const StandardErrorCatch &) = delete;
    StandardErrorCatch &operator=(const StandardErrorCatch &) = delete;

    bool hasCaught() const;

private:
    std::array<int, 2> m_ends{-1, -1};
    int m_before;
};
