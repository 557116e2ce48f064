// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * The step code: what the engine awaits, or what it has just decided. The read steps come in
 * families: the first code when the command is sent, then the first and second retry and the
 * abandonment.
 */
namespace step {

constexpr int idle = 0;

constexpr int writeInfo = 5000;
constexpr int writeInfoRetry1 = 5011;
constexpr int writeInfoRetry2 = 5012;
constexpr int writeInfoGivenUp = 5013;

constexpr int virtualVersion = 5501;
/** The virtual version was given up; the first bootcode read goes on with its own retries. */
constexpr int virtualVersionGivenUp = 5502;
constexpr int virtualVersionMalformed = 5504;

constexpr int modelName = 5900;

constexpr int bootcode = 6000;
constexpr int bootcodeRetry1 = 6011;
constexpr int bootcodeRetry2 = 6012;
constexpr int bootcodeGivenUp = 6013;

constexpr int productInfo = 6100;
constexpr int productInfoRetry1 = 6111;
constexpr int productInfoRetry2 = 6112;
constexpr int productInfoGivenUp = 6113;

constexpr int version = 6200;
constexpr int versionRetry1 = 6211;
constexpr int versionRetry2 = 6212;
constexpr int versionGivenUp = 6213;

/** The main MCU runs its bootcode: its image goes before all others. */
constexpr int mainMcuFirst = 6700;

constexpr int nextItem = 8000;
constexpr int mainImage = 8101;
constexpr int otherImage = 8201;

constexpr int mainMcuRestarts = 8102;
constexpr int mainMcuIsBack = 8104;
constexpr int mainMcuIsLost = 8113;

constexpr int setVirtualVersion = 8137;

constexpr int reboot = 8300;
constexpr int rebootRetry1 = 8301;
constexpr int rebootRetry2 = 8302;
constexpr int rebootFailed = 8303;
constexpr int systemRestarts = 8316;

constexpr int done = 8318;
constexpr int virtualVersionRefused = 8319;
constexpr int systemIsLost = 8359;

} // namespace step

/** The status of an APPSTATUS message. "1" would mean busy to the console and is never sent. */
namespace appStatus {

constexpr char packageFailed[] = "2";
constexpr char deviceLost[] = "5";
constexpr char success[] = "6";
constexpr char stepFailed[] = "7";
constexpr char statusFrameFailed[] = "9";
constexpr char invalidProductInfo[] = "10";

} // namespace appStatus
