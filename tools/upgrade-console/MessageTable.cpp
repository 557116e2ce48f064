// SPDX-License-Identifier: Apache-2.0
// What every line of the agent means to an upgrade. The engine's own constants stand here where
// they are to be had; a test compares the rest with the engine.
#include "engine/report/EngineTexts.h"
#include "package/BuildTexts.h"
#include "upgrade-console/Messages.h"
#include "upload/UploadTexts.h"

namespace {

using Event = LineEvent;

// The columns are worth more than the line length here.
// clang-format off
constexpr MessageRow serverRows[] = {
    {"The device is busy upgrading.",            Event::Busy,         Cause::Busy},
    {"Unknow command.",                          Event::RunProblem,   Cause::UnknownRequest},
    {"Set UPGRADEMODE to %1",                    Event::ModeSet,      Cause::None},
    {"ERROR:UPGRADEMODE parameter error",        Event::RunProblem,   Cause::ModeRefused},
    {"ERROR:UPGRADE parameter error",            Event::RunProblem,   Cause::RowsRefused},
    {"Firmware file does not exist.",            Event::RunProblem,   Cause::PackageMissing},
    {"Device connected.",                        Event::RunStarted,   Cause::None},
};

constexpr MessageRow linkRows[] = {
    {text::disconnect,                           Event::Note,         Cause::None},
    {text::portDisconnected,                     Event::Note,         Cause::None},
    {key::connectFail,                           Event::RunProblem,   Cause::PortUnavailable},
    {text::connectFailed,                        Event::RunProblem,   Cause::PortUnavailable},
    {text::serialSendFailed,                     Event::RunProblem,   Cause::LinkBroken},
    {text::networkSendFailed,                    Event::RunProblem,   Cause::LinkBroken},
    {text::notConnected,                         Event::RunProblem,   Cause::PortUnavailable},
};

constexpr MessageRow packageRows[] = {
    {text::checksumOk,                           Event::Note,         Cause::None},
    {text::packageVersion,                       Event::Note,         Cause::None},
    {text::modelName,                            Event::Note,         Cause::None},
    {text::release,                              Event::Note,         Cause::None},
    {text::notAPackage,                          Event::RunProblem,   Cause::PackageInvalid},
    {text::badHead,                              Event::RunProblem,   Cause::PackageInvalid},
    {text::badDescription,                       Event::RunProblem,   Cause::DescriptionBroken},
    {text::badChips,                             Event::RunProblem,   Cause::DescriptionBroken},
    {text::errorChecksum,                        Event::RunProblem,   Cause::PackageDamaged},
    {text::errorMissing,                         Event::RunProblem,   Cause::PackageMissing},
    {text::errorOpen,                            Event::RunProblem,   Cause::PackageUnreadable},
    {text::errorNotAPackage,                     Event::RunProblem,   Cause::PackageInvalid},
    {text::badVersion,                           Event::RunProblem,   Cause::PackageTooOld},
    {text::oldVersion,                           Event::RunProblem,   Cause::PackageTooOld},
    {text::packageChanged,                       Event::RunProblem,   Cause::PackageChanged},
    {text::packageNotRead,                       Event::RunProblem,   Cause::PackageReadError},
};

constexpr MessageRow readRows[] = {
    {text::readModelName,                        Event::RunStarted,   Cause::None},
    {text::modelMatch,                           Event::Note,         Cause::None},
    // One text on three lines.
    {"Firmware Model Name is %1.",               Event::Note,         Cause::None},
    {"Device Model Name is %1.",                 Event::Note,         Cause::None},
    {"Model Name does not match, upgrade fail.", Event::RunProblem,   Cause::WrongModel},
    {"Read model name fail, retry %1.",          Event::Note,         Cause::None},
    {"Read model name fail, upgrade fail, exit.", Event::RunProblem,  Cause::ModelSilent},
    {"Read model name error, upgrade fail. ForcedUpgrade mode is required.", Event::RunProblem, Cause::ModelRefused},
    {text::readBootcode,                         Event::Reading,      Cause::None},
    {text::bootcodeIgnoresFpga,                  Event::Reading,      Cause::None},
    {"Read the bootcode information of '%1' success.", Event::Reading, Cause::None},
    {"Read the bootcode information of '%1' fail, retry %2.", Event::ReadRetry, Cause::None},
    {"Read the bootcode information of '%1'. fail, retry %2.", Event::ReadRetry, Cause::None},
    {"Read the bootcode information of '%1' fail, check the next mcu.", Event::McuProblem, Cause::McuSilent},
    {text::mainInApplication,                    Event::Note,         Cause::None},
    {text::mainInBootcode,                       Event::Note,         Cause::None},
    {text::invalidInfoStopsRead,                 Event::RunProblem,   Cause::InfoInvalid},
    {text::invalidInfoStopsUpgrade,              Event::RunProblem,   Cause::InfoInvalid},
    {text::bootcodeStopsRead,                    Event::RunProblem,   Cause::McuSilent},
    {text::bootcodeStopsUpgrade,                 Event::RunProblem,   Cause::McuSilent},
    {text::readProductInfo,                      Event::Reading,      Cause::None},
    {"Read the product information of '%1'  success.", Event::Reading, Cause::None},
    {"Read the product information of '%1' fail, retry %2.", Event::ReadRetry, Cause::None},
    {"Read the product information of '%1' fail, check the next mcu.", Event::McuProblem, Cause::McuSilent},
    {text::productInfoStopsRead,                 Event::RunProblem,   Cause::McuSilent},
    {text::productInfoStopsUpgrade,              Event::RunProblem,   Cause::McuSilent},
    {text::mainMcuFirst,                         Event::Note,         Cause::None},
    {text::allInfoRead,                          Event::Note,         Cause::None},
    {text::readVersion,                          Event::Reading,      Cause::None},
    {text::version3,                             Event::VersionRead,  Cause::None},
    {text::version2,                             Event::VersionRead,  Cause::None},
    {"Read the version information of '%1' fail, retry %2.", Event::ReadRetry, Cause::None},
    {"Read the version information of '%1' fail, check the next mcu.", Event::McuProblem, Cause::VersionUnread},
    {text::allVersionsRead,                      Event::Note,         Cause::None},
    {text::readVirtualVersion,                   Event::Note,         Cause::None},
    {"Read virtual version success.",            Event::Note,         Cause::None},
    {"Read virtual version error.",              Event::Note,         Cause::None},
    {"Read virtual version fail, retry %1.",     Event::Note,         Cause::None},
    {"Read virtual version fail.",               Event::Note,         Cause::None},
    {"==========product information==========",  Event::Note,         Cause::None},
};

constexpr MessageRow decisionRows[] = {
    {"Firmware version V%1.%2.%3 greater than the '%4' version V%5.%6.%7, will upgrade.", Event::WillUpgrade, Cause::None},
    {"Firmware version V%1.%2.%3 equal to the '%4' version V%5.%6.%7, will not upgrade.", Event::SameVersion, Cause::None},
    {"Firmware version V%1.%2.%3 less than the '%4' version V%5.%6.%7, will not upgrade.", Event::PackageOlder, Cause::None},
    {text::badListItem,                          Event::McuProblem,   Cause::RowsRefused},
    {text::shortListItem,                        Event::McuProblem,   Cause::RowsRefused},
    {text::noFirmware,                           Event::NoFirmware,   Cause::NoFirmware},
    {text::noImage,                              Event::McuProblem,   Cause::ImageMissing},
    {text::badChip,                              Event::Note,         Cause::None},
};

constexpr MessageRow imageRows[] = {
    {text::enterSent,                            Event::EnterSent,    Cause::None},
    {text::enterSuccess,                         Event::Entered,      Cause::None},
    {text::enterRetry,                           Event::WriteRetry,   Cause::UpdateModeRefused},
    {text::enterFail,                            Event::WriteRetry,   Cause::UpdateModeRefused},
    {text::writeRetry,                           Event::WriteRetry,   Cause::ImageNotWritten},
    {text::writeFail,                            Event::WriteFailed,  Cause::ImageNotWritten},
    {text::writeSuccess,                         Event::Written,      Cause::None},
    {text::allWritten,                           Event::Note,         Cause::None},
    {text::erasing,                              Event::Erasing,      Cause::None},
    // One text on two lines.
    {"Erase success.",                           Event::Note,         Cause::None},
    {"Writing...",                               Event::Writing,      Cause::None},
    {uploadText::retry,                          Event::BlockRetry,   Cause::None},
    {uploadText::success,                        Event::Note,         Cause::None},
    {uploadText::fail,                           Event::Note,         Cause::None},
    {text::mainRestarts,                         Event::MainRestarting, Cause::None},
    {"Upgrade Main MCU success.",                Event::MainBack,     Cause::None},
    {"Read product ID.",                         Event::Note,         Cause::None},
    {"Read product ID fail, retry %1.",          Event::Note,         Cause::None},
    {"Main MCU run fail.",                       Event::MainLost,     Cause::MainMcuLost},
};

constexpr MessageRow endRows[] = {
    {text::sendReboot,                           Event::Rebooting,    Cause::None},
    {"Start to reboot, please wait.",            Event::Rebooting,    Cause::None},
    {"Reboot fail, retry %1.",                   Event::Note,         Cause::None},
    {"Reboot systerm fail.",                     Event::RunProblem,   Cause::RebootRefused},
    {"Systerm run fail.",                        Event::RunProblem,   Cause::DeviceLost},
    {text::startVirtualVersion,                  Event::SettingVersion, Cause::None},
    {text::ignoreVirtualVersion,                 Event::Note,         Cause::None},
    {text::nothingUpgraded,                      Event::Note,         Cause::NothingToDo},
    {text::virtualVersionSet,                    Event::Note,         Cause::None},
    {"Set virtual version fail, retry %1.",      Event::Note,         Cause::None},
    {"Set virtual version fail, upgrade fail.",  Event::RunProblem,   Cause::VirtualVersionNotSet},
    {text::allSuccess,                           Event::Note,         Cause::None},
    {text::virtualVersionNotSet,                 Event::RunProblem,   Cause::VirtualVersionNotSet},
    {text::allButVirtualVersion,                 Event::RunProblem,   Cause::VirtualVersionNotSet},
};

constexpr MessageRow infoRows[] = {
    {text::infoEmpty,                            Event::RunProblem,   Cause::InfoNotWritten},
    {text::infoMalformed,                        Event::RunProblem,   Cause::InfoNotWritten},
    {text::startInfoWrites,                      Event::Note,         Cause::None},
    {text::startInfoWrite,                       Event::Note,         Cause::None},
    {text::writeIgnoresFpga,                     Event::Note,         Cause::None},
    {text::allInfoWritten,                       Event::Note,         Cause::None},
    {"Write '%1' product information success.",  Event::Note,         Cause::None},
    {"Write '%1' product information fail, retry %2.", Event::Note,   Cause::None},
    {"Write '%1' product information fail, write the next mcu.", Event::McuProblem, Cause::InfoNotWritten},
};

constexpr MessageRow netRows[] = {
    {"Start to upgrade NET firmware.",           Event::NetStarted,   Cause::None},
    {"Create fw_net error, upgrade net fail.",   Event::NetFailed,    Cause::NetArchiveNotStored},
    {"NET firmware checksum fail, upgrade net fail.", Event::NetFailed, Cause::NetImageDamaged},
    {"NET firmware checksum success.",           Event::Note,         Cause::None},
    {"NET package checksum error.",              Event::NetFailed,    Cause::NetImageDamaged},
    {"NET package checksum OK.",                 Event::Note,         Cause::None},
    {"NET package upgrade %1%.",                 Event::NetPercent,   Cause::None},
    {"NET firmware ver%1 upgrade success.",      Event::NetInstalled, Cause::None},
    {"Create version file success",              Event::Note,         Cause::None},
    {"Failed to create version file",            Event::RunProblem,   Cause::NetVersionNotStored},
    {"NET ready to reboot after 2 seconds.",     Event::NetReboot,    Cause::None},
};

// Said while packages are built; "do not exist", "error" and their like are about the request.
constexpr MessageRow buildRows[] = {
    {buildtext::start,                           Event::Note,         Cause::None},
    {buildtext::notJson,                         Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::notAnObject,                     Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::chipsNotAnArray,                 Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::cannotCreate,                    Event::RunProblem,   Cause::FileUnreadable},
    {buildtext::needVer3,                        Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::chipType,                        Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::chipQuantity,                    Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::mcuType,                         Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::pcbVersion,                      Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::speciality,                      Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::imageMissing,                    Event::RunProblem,   Cause::FileUnreadable},
    {buildtext::imageUnreadable,                 Event::RunProblem,   Cause::FileUnreadable},
    {buildtext::success,                         Event::Note,         Cause::None},
    {buildtext::fail,                            Event::RunProblem,   Cause::FileUnreadable},
    {buildtext::cannotOpenNet,                   Event::RunProblem,   Cause::FileUnreadable},
    {buildtext::cannotOpenPackage,               Event::RunProblem,   Cause::PackageUnreadable},
    {buildtext::packageHeaderError,              Event::RunProblem,   Cause::PackageInvalid},
    {buildtext::packageChecksumOk,               Event::Note,         Cause::None},
    {buildtext::noDocument,                      Event::RunProblem,   Cause::DescriptionBroken},
    {buildtext::hasNet,                          Event::Note,         Cause::None},
    {buildtext::hasNoNet,                        Event::Note,         Cause::None},
    {buildtext::created,                         Event::Note,         Cause::None},
    {buildtext::cannotCreatePackage,             Event::RunProblem,   Cause::FileUnreadable},
    {buildtext::netRecordNotFound,               Event::RunProblem,   Cause::NetImageInvalid},
};
// clang-format on

template<typename... Parts>
std::vector<MessageRow> joined(const Parts &...parts)
{
    std::vector<MessageRow> all;
    (all.insert(all.end(), std::begin(parts), std::end(parts)), ...);
    return all;
}

} // namespace

const std::vector<MessageRow> &messageTable()
{
    static const std::vector<MessageRow> rows =
        joined(serverRows, linkRows, packageRows, readRows, decisionRows, imageRows, endRows,
               infoRows, netRows, buildRows);
    return rows;
}
