// SPDX-License-Identifier: Apache-2.0
// What every line of the agent means to an upgrade, by the names of the agent's texts. The few
// literals are parts of texts; a test compares them with the whole.
#include "client/Messages.h"
#include "engine/report/EngineTexts.h"
#include "netupgrade/NetTexts.h"
#include "package/BuildTexts.h"
#include "planning/VersionTexts.h"
#include "protocol/ConsoleTexts.h"
#include "upload/UploadTexts.h"

namespace buildtext = package::buildtext;
namespace consoletext = protocol::consoletext;
namespace nettext = netupgrade::nettext;
namespace text = engine::text;
namespace uploadText = upload::uploadText;
namespace versiontext = planning::versiontext;

namespace client {

namespace {

using Event = LineEvent;

// The columns are worth more than the line length here.
// clang-format off
constexpr MessageRow serverRows[] = {
    {consoletext::busy.data(),                    Event::Busy,        Cause::Busy},
    {consoletext::unknown.data(),                 Event::RunProblem,  Cause::UnknownRequest},
    {"Set UPGRADEMODE to %1",                    Event::ModeSet,      Cause::None},
    {consoletext::modeError.data(),               Event::RunProblem,  Cause::ModeRefused},
    {consoletext::upgradeError.data(),            Event::RunProblem,  Cause::RowsRefused},
    {consoletext::noPackage.data(),               Event::RunProblem,  Cause::PackageMissing},
    {consoletext::deviceConnected.data(),         Event::RunStarted,  Cause::None},
};

constexpr MessageRow linkRows[] = {
    {text::disconnect,                           Event::Note,         Cause::None},
    {text::portDisconnected,                     Event::Note,         Cause::None},
    {protocol::key::connectFail,                           Event::RunProblem,   Cause::PortUnavailable},
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
    {text::modelNameRetry1,                       Event::Note,        Cause::None},
    {text::modelNameRetry2,                       Event::Note,        Cause::None},
    {text::modelNameFail,                         Event::RunProblem,  Cause::ModelSilent},
    {text::modelNameError,                        Event::RunProblem,  Cause::ModelRefused},
    {text::readBootcode,                         Event::Reading,      Cause::None},
    {text::bootcodeIgnoresFpga,                  Event::Reading,      Cause::None},
    {text::bootcodeRead,                          Event::Reading,     Cause::None},
    {text::bootcodeRetry1,                        Event::ReadRetry,   Cause::None},
    {text::bootcodeRetry2,                        Event::ReadRetry,   Cause::None},
    {text::firstBootcodeRetry1,                   Event::ReadRetry,   Cause::None},
    {text::firstBootcodeRetry2,                   Event::ReadRetry,   Cause::None},
    {text::bootcodeFail,                          Event::McuProblem,  Cause::McuSilent},
    {text::mainInApplication,                    Event::Note,         Cause::None},
    {text::mainInBootcode,                       Event::Note,         Cause::None},
    {text::invalidInfoStopsRead,                 Event::RunProblem,   Cause::InfoInvalid},
    {text::invalidInfoStopsUpgrade,              Event::RunProblem,   Cause::InfoInvalid},
    {text::bootcodeStopsRead,                    Event::RunProblem,   Cause::McuSilent},
    {text::bootcodeStopsUpgrade,                 Event::RunProblem,   Cause::McuSilent},
    {text::readProductInfo,                      Event::Reading,      Cause::None},
    {text::productInfoRead,                       Event::Reading,     Cause::None},
    {text::productInfoRetry1,                     Event::ReadRetry,   Cause::None},
    {text::productInfoRetry2,                     Event::ReadRetry,   Cause::None},
    {text::productInfoFail,                       Event::McuProblem,  Cause::McuSilent},
    {text::productInfoStopsRead,                 Event::RunProblem,   Cause::McuSilent},
    {text::productInfoStopsUpgrade,              Event::RunProblem,   Cause::McuSilent},
    {text::mainMcuFirst,                         Event::Note,         Cause::None},
    {text::allInfoRead,                          Event::Note,         Cause::None},
    {text::readVersion,                          Event::Reading,      Cause::None},
    {text::version3,                             Event::VersionRead,  Cause::None},
    {text::version2,                             Event::VersionRead,  Cause::None},
    {text::versionRetry1,                         Event::ReadRetry,   Cause::None},
    {text::versionRetry2,                         Event::ReadRetry,   Cause::None},
    {text::versionFail,                           Event::McuProblem,  Cause::VersionUnread},
    {text::allVersionsRead,                      Event::Note,         Cause::None},
    {text::readVirtualVersion,                   Event::Note,         Cause::None},
    {text::virtualVersionRead,                    Event::Note,        Cause::None},
    {text::virtualVersionError,                   Event::Note,        Cause::None},
    {text::virtualVersionRetry1,                  Event::Note,        Cause::None},
    {text::virtualVersionRetry2,                  Event::Note,        Cause::None},
    {text::virtualVersionFail,                    Event::Note,        Cause::None},
    {text::infoHeading,                           Event::Note,        Cause::None},
};

constexpr MessageRow decisionRows[] = {
    {versiontext::greater,                        Event::WillUpgrade, Cause::None},
    {versiontext::equal,                          Event::SameVersion, Cause::None},
    {versiontext::less,                           Event::PackageOlder, Cause::None},
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
    {text::mainUpgraded,                          Event::MainBack,    Cause::None},
    {text::readProductId,                         Event::Note,        Cause::None},
    {text::productIdRetry1,                       Event::Note,        Cause::None},
    {text::productIdRetry2,                       Event::Note,        Cause::None},
    {text::mainRunFail,                           Event::MainLost,    Cause::MainMcuLost},
};

constexpr MessageRow endRows[] = {
    {text::sendReboot,                           Event::Rebooting,    Cause::None},
    {text::rebootStarted,                         Event::RebootBegun, Cause::None},
    {text::rebootRetry1,                          Event::Note,        Cause::None},
    {text::rebootRetry2,                          Event::Note,        Cause::None},
    {text::rebootFail,                            Event::RunProblem,  Cause::RebootRefused},
    {text::systemRunFail,                         Event::RunProblem,  Cause::DeviceLost},
    {text::startVirtualVersion,                  Event::SettingVersion, Cause::None},
    {text::ignoreVirtualVersion,                 Event::Note,         Cause::None},
    {text::nothingUpgraded,                      Event::Note,         Cause::NothingToDo},
    {text::virtualVersionSet,                    Event::Note,         Cause::None},
    {text::setVirtualVersionRetry1,               Event::Note,        Cause::None},
    {text::setVirtualVersionRetry2,               Event::Note,        Cause::None},
    {text::setVirtualVersionFail,                 Event::RunProblem,  Cause::VirtualVersionNotSet},
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
    {text::infoWritten,                           Event::Note,        Cause::None},
    {text::infoWriteRetry1,                       Event::Note,        Cause::None},
    {text::infoWriteRetry2,                       Event::Note,        Cause::None},
    {text::infoWriteFail,                         Event::McuProblem,  Cause::InfoNotWritten},
};

constexpr MessageRow netRows[] = {
    {nettext::packageStart,                       Event::NetStarted,  Cause::None},
    {nettext::archiveFailed,                      Event::NetFailed,   Cause::NetArchiveNotStored},
    {nettext::firmwareDigestWrong,                Event::NetFailed,   Cause::NetImageDamaged},
    {nettext::firmwareDigestRight,                Event::Note,        Cause::None},
    {nettext::packageDigestWrong,                 Event::NetFailed,   Cause::NetImageDamaged},
    {nettext::packageDigestRight,                 Event::Note,        Cause::None},
    {nettext::packagePercent,                     Event::NetPercent,  Cause::None},
    {nettext::upgradeSuccess,                     Event::NetInstalled, Cause::None},
    {nettext::versionFileWritten,                 Event::Note,        Cause::None},
    {nettext::versionFileFailed,                  Event::RunProblem,  Cause::NetVersionNotStored},
    {nettext::readyToReboot,                      Event::NetReboot,   Cause::None},
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

} // namespace client
