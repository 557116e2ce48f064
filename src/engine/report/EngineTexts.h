// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * The engine's words outside of the sequencer's table. They are part of the interface to console
 * clients and keep their spelling, odd as some of it is.
 */
namespace key {

constexpr char appStatus[] = "APPSTATUS";
constexpr char upgradeResult[] = "UPGRADERESULT";
constexpr char connectSuccess[] = "ConnectSuccess";
constexpr char connectFail[] = "ConnectFail";
constexpr char readProductInfo[] = "READPI";
constexpr char showProductInfo[] = "PISHOW";
constexpr char mergeFirmware[] = "MF";
constexpr char mergeNet[] = "NMF";
constexpr char setProductInfoResult[] = "SETPIRESULT";

} // namespace key

namespace text {

// Link
constexpr char disconnect[] = "Disconnect";
constexpr char portDisconnected[] = "%1 port is disconnected.";
constexpr char connectFailed[] = "%1 connect failed, serial port is occupied or does not exist";
constexpr char serialSendFailed[] = "Failed to send command, serial port has been closed";
constexpr char networkSendFailed[] = "Failed to send command, net port has been closed";

// Package
constexpr char checksumOk[] = "Firmware file checksum ok.";
constexpr char packageVersion[] = "Firmware package version: %1";
constexpr char modelName[] = "Model Name: %1";
constexpr char release[] = "Version: %1";
constexpr char notAPackage[] = "Invalid firmware file";
constexpr char badHead[] = "Invalid firmware file, file head error.";
constexpr char badDescription[] = "Data struct error!";
constexpr char badChips[] = "Data struct chips error!";
constexpr char errorChecksum[] = "ERROR:Firmware file checksum error.";
constexpr char errorMissing[] = "ERROR:Firmware file is not exist.";
constexpr char errorOpen[] = "ERROR:Faild to open firmware file.";
constexpr char errorNotAPackage[] = "ERROR:Invalid firmware file";
constexpr char badVersion[] = "Package version error, invalid firmware file";
constexpr char oldVersion[] = "FWM file version error, must greater or equal to 6.";
constexpr char packageChanged[] = "Firmware package was changed during the upgrade.";
constexpr char packageNotRead[] = "Firmware package could not be read, upgrade fail.";

// Planning
constexpr char badListItem[] = "Invalid firmware list item(%1). Check next item.";
constexpr char shortListItem[] = "MCU '%1' chip type or chip index incorrect, upload next mcu";
constexpr char noFirmware[] = "No suitable firmware for '%1' in the firmware package.";
constexpr char noImage[] = "No suitable firmware for '%1' mcu in the firmware package.";
constexpr char badChip[] = "Chip type or chip index error.";

// Reads
constexpr char readModelName[] = "Read model name.";
constexpr char modelMatch[] = "Model Name match.";
constexpr char modelMismatch[] = "Firmware Model Name is %1.\r\nDevice Model Name is %2.\r\n"
                                 "Model Name does not match, upgrade fail.";
constexpr char readBootcode[] = "Read bootcode information of '%1'.";
constexpr char bootcodeIgnoresFpga[] = "'%1' model is FPGA, ignore to read bootcode information.";
constexpr char mainInApplication[] = "MAIN MCU running in APP.";
constexpr char mainInBootcode[] = "MAIN MCU running in Bootcode.";
constexpr char invalidInfoStopsRead[] =
    "'%1' product information flag is invalid, exit read product information.";
constexpr char invalidInfoStopsUpgrade[] =
    "'%1' product information flag is invalid, exit all upgrade.";
constexpr char bootcodeStopsRead[] =
    "Read the bootcode information of '%1' fail, exit read product information.";
constexpr char bootcodeStopsUpgrade[] = "Read the bootcode information of '%1' fail, exit upgrade.";
constexpr char readProductInfo[] = "Read the product information of '%1'.";
constexpr char productInfoStopsRead[] =
    "Read the product information of '%1' fail, exit read product information.";
constexpr char productInfoStopsUpgrade[] =
    "Read the product information of '%1' fail, exit upgrade.";
constexpr char mainMcuFirst[] =
    "'%1' product information flag is valid, start to upgrade main mcu first.";
constexpr char allInfoRead[] = "Read all mcu(list) bootcode and product information done.";
constexpr char readVersion[] = "Send 'Read FW version' command to '%1'.";
constexpr char version2[] = "Read '%1' version success, version is V%2.%3";
constexpr char version3[] = "Read '%1' version success, version is V%2.%3.%4";
constexpr char allVersionsRead[] = "Read all mcu(list) version information done.";
constexpr char readVirtualVersion[] = "Read virtual version.";
constexpr char notConnected[] = "Please connnect serial port in 'Upgrade Firmware' page first!";
constexpr char infoHeading[] = "==========product information==========\r\n";

// Product-information writes
constexpr char infoEmpty[] = "Data is empty, no valid product information!";
constexpr char infoMalformed[] = "Data struct error, no valid product information!";
constexpr char startInfoWrites[] = "Start to write Product Information.";
constexpr char startInfoWrite[] = "Start to write '%1' product information.";
constexpr char writeIgnoresFpga[] = "'%1' model is FPGA, ignore to write product information.";
constexpr char allInfoWritten[] = "Write all product information done.";

// Image transfer
constexpr char enterSent[] = "Send 'Enter F/W Upgrade Mode' command to '%1'.";
constexpr char enterSuccess[] = "'%1' Enter 'F/W Update Mode' success.";
constexpr char enterRetry[] = "'%1' Enter F/W Update Mode fail, retry %2.";
constexpr char enterFail[] = "'%1' Enter F/W Update Mode fail.";
constexpr char writeRetry[] = "'%1' F/W update fail, retry %2.";
constexpr char writeFail[] = "'%1' F/W Update fail.";
constexpr char writeSuccess[] = "Write firmware '%1' success.";
constexpr char allWritten[] = "Write all firmware success.";
constexpr char mainRestarts[] = "The Main MCU is restarting, please wait.";
constexpr char erasing[] = "Erasing...";
constexpr char writing[] = "Erase success.\r\nWriting...";

// End of a run
constexpr char sendReboot[] = "Send reboot command.";
constexpr char startVirtualVersion[] = "Start to set virtual version.";
constexpr char ignoreVirtualVersion[] = "Ignore to set virtual version.";
constexpr char nothingUpgraded[] = "All firmware upgrade done, but did not upgrade any mcu.";
constexpr char virtualVersionSet[] = "Set virtual version success.";
constexpr char allSuccess[] = "All firmware upgrade success and systerm run success.";
constexpr char virtualVersionNotSet[] = "Set virtual version fail.";
constexpr char allButVirtualVersion[] = "All firmware upgrade done, but set virtual version fail.";

} // namespace text
