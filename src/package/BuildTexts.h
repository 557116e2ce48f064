// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * What is said while packages are built. The texts are part of the interface, their spelling
 * included; %1 is a file's path.
 */
namespace buildtext {

// mergeFW
constexpr char start[] = "Start to merge firmware.";
constexpr char notJson[] = "Data struct error, merge fail!";
constexpr char notAnObject[] = "Merge data struct error, merge '%1' fail!";
constexpr char chipsNotAnArray[] = "Merge data struct chips error, merge '%1' fail!";
constexpr char cannotCreate[] = "Failed to create file";
constexpr char needVer3[] = "Merge file fail, need Ver3 in each MCU.";
constexpr char chipType[] = "Chip type error.";
constexpr char chipQuantity[] = "Chip quanity error.";
constexpr char mcuType[] = "MCU type error.";
constexpr char pcbVersion[] = "PCB version error.";
constexpr char speciality[] = "Speciality error.";
constexpr char imageMissing[] = "Firmware file '%1' do not exist. Merge failed.";
constexpr char imageUnreadable[] = "Open file '%1' error. Merge failed.";
constexpr char success[] = "Merge firmware '%1' success!";
constexpr char fail[] = "Merge firmware '%1' fail!";

// checkNetFirmware
constexpr char cannotOpenNet[] = "Open Net firmware error, check fail.";

// mergeNetFirmware
constexpr char cannotOpenPackage[] = "Failed to open FWM file";
constexpr char packageHeaderError[] = "FWM file header error.";
constexpr char packageHeadError[] = "Invalid firmware file, file head error.";
constexpr char packageChecksumOk[] = "FWM file checksum ok.";
constexpr char structError[] = "Data struct error!";
constexpr char chipsError[] = "Data struct chips error!";
constexpr char noDocument[] = "Document is not an object or array";
constexpr char hasNet[] = "FWM file contains NET firmware.";
constexpr char hasNoNet[] = "FWM file does not contain NET firmware.";
constexpr char created[] = "Create FWM file success";
constexpr char cannotCreatePackage[] = "Failed to create FWM file";
constexpr char netRecordNotFound[] = "Find NET firmware error";

} // namespace buildtext
