// SPDX-License-Identifier: Apache-2.0
#pragma once

/** The status of an APPSTATUS message. "1" would mean busy to the console and is never sent. */
namespace appStatus {

constexpr char packageFailed[] = "2";
constexpr char deviceLost[] = "5";
constexpr char success[] = "6";
constexpr char stepFailed[] = "7";
constexpr char statusFrameFailed[] = "9";
constexpr char invalidProductInfo[] = "10";

} // namespace appStatus
