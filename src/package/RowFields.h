// SPDX-License-Identifier: Apache-2.0
#pragma once

/** The fields of one table row, comma-separated text in this order. */
namespace package::field {

constexpr int name = 0;
constexpr int chipType = 1;
constexpr int chipIndex = 2;
constexpr int mcuType = 3;
constexpr int pcbVersion = 4;
constexpr int speciality = 5;
constexpr int ver1 = 6;
constexpr int ver2 = 7;
constexpr int ver3 = 8;
constexpr int bootcodeFlag = 9;
constexpr int productInfoFlag = 10;
constexpr int upgradeFlag = 11;
constexpr int result = 12;

/** How many fields a row with versions and without flags has. */
constexpr int countWithVersions = ver3 + 1;

/** What follows the versions of a new row. */
constexpr char noFlags[] = ",0,0,0,0";
/** What follows the chip index of a row without any information. */
constexpr char nothingKnown[] = ",,,,,,,,,0,0";

} // namespace package::field
