// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

using Nanoseconds = std::chrono::nanoseconds;

/** The time of the monotonic clock. */
inline Nanoseconds now()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

/** The value that `fraction` (0 to 1) of the samples do not exceed; 0 without samples. */
inline long long percentile(std::vector<Nanoseconds> samples, double fraction)
{
    if (samples.empty())
        return 0;
    const auto rank = std::ptrdiff_t(fraction * double(samples.size() - 1));
    std::nth_element(samples.begin(), samples.begin() + rank, samples.end());
    return samples[size_t(rank)].count();
}
