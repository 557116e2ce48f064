// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Chip types as in frames, package records and table rows (the JSON number less one). */
namespace protocol::chip {

constexpr int mainMcu = 0;
/** The first type of an FPGA, which has no bootcode and no product information. */
constexpr int firstFpga = 17;
constexpr int networkModule = 32;

/** The description of a package numbers chip types from 1. */
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
