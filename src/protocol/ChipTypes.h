// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Chip types as frames, package records and table rows carry them (the JSON number less one). */
namespace protocol::chip {

constexpr int mainMcu = 0;
/** From here on a chip is an FPGA: it has no bootcode and no product information of its own. */
constexpr int firstFpga = 17;
constexpr int networkModule = 32;

/** The description of a package counts chip types from 1. */
constexpr int fromDescription(int number)
{
    return number - 1;
}

constexpr int toDescription(int chipType)
{
    return chipType + 1;
}

inline bool isFpga(int chipType)
{
    return chipType >= firstFpga;
}

} // namespace protocol::chip
