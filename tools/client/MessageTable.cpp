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

/** The advice is that of the cause. */
constexpr const char *ofCause = nullptr;
constexpr const char *nothing = "Nothing.";
constexpr const char *waiting = "Wait.";

// The columns are worth more than the line length here.
// clang-format off
constexpr MessageRow serverRows[] = {
    {"device-busy",                consoletext::busy.data(),            Event::Busy,           Cause::Busy,                 ofCause},
    {"unknown-request",            consoletext::unknown.data(),         Event::RunProblem,     Cause::UnknownRequest,       ofCause},
    {"mode-set",                   "Set UPGRADEMODE to %1",             Event::ModeSet,        Cause::None,                 nothing},
    {"mode-error",                 consoletext::modeError.data(),       Event::RunProblem,     Cause::ModeRefused,          ofCause},
    {"rows-missing",               consoletext::upgradeError.data(),    Event::RunProblem,     Cause::RowsRefused,          ofCause},
    {"package-missing",            consoletext::noPackage.data(),       Event::RunProblem,     Cause::PackageMissing,       ofCause},
    {"device-connected",           consoletext::deviceConnected.data(), Event::RunStarted,     Cause::None,                 nothing},
};

constexpr MessageRow linkRows[] = {
    {"disconnect",                 text::disconnect,                    Event::Note,           Cause::None,                 "Nothing at start and end; in mid-run check the port."},
    {"port-disconnected",          text::portDisconnected,              Event::Note,           Cause::None,                 "Nothing at start and end; in mid-run check the port."},
    {"connect-fail",               protocol::key::connectFail,          Event::RunProblem,     Cause::PortUnavailable,      ofCause},
    {"connect-failed",             text::connectFailed,                 Event::RunProblem,     Cause::PortUnavailable,      ofCause},
    {"serial-send-failed",         text::serialSendFailed,              Event::RunProblem,     Cause::LinkBroken,           ofCause},
    {"network-send-failed",        text::networkSendFailed,             Event::RunProblem,     Cause::LinkBroken,           ofCause},
    {"not-connected",              text::notConnected,                  Event::RunProblem,     Cause::PortUnavailable,      ofCause},
};

constexpr MessageRow packageRows[] = {
    {"checksum-ok",                text::checksumOk,                    Event::Note,           Cause::None,                 nothing},
    {"package-version",            text::packageVersion,                Event::Note,           Cause::None,                 nothing},
    {"package-model",              text::modelName,                     Event::Note,           Cause::None,                 "Compare it with the device."},
    {"package-release",            text::release,                       Event::Note,           Cause::None,                 nothing},
    {"not-a-package",              text::notAPackage,                   Event::RunProblem,     Cause::PackageInvalid,       ofCause},
    {"bad-head",                   text::badHead,                       Event::RunProblem,     Cause::PackageInvalid,       ofCause},
    {"bad-description",            text::badDescription,                Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"bad-chips",                  text::badChips,                      Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"error-checksum",             text::errorChecksum,                 Event::RunProblem,     Cause::PackageDamaged,       ofCause},
    {"error-missing",              text::errorMissing,                  Event::RunProblem,     Cause::PackageMissing,       ofCause},
    {"error-open",                 text::errorOpen,                     Event::RunProblem,     Cause::PackageUnreadable,    ofCause},
    {"error-not-a-package",        text::errorNotAPackage,              Event::RunProblem,     Cause::PackageInvalid,       ofCause},
    {"bad-version",                text::badVersion,                    Event::RunProblem,     Cause::PackageTooOld,        ofCause},
    {"old-version",                text::oldVersion,                    Event::RunProblem,     Cause::PackageTooOld,        ofCause},
    {"package-changed",            text::packageChanged,                Event::RunProblem,     Cause::PackageChanged,       ofCause},
    {"package-not-read",           text::packageNotRead,                Event::RunProblem,     Cause::PackageReadError,     ofCause},
};

constexpr MessageRow readRows[] = {
    {"read-model-name",            text::readModelName,                 Event::RunStarted,     Cause::None,                 nothing},
    {"model-match",                text::modelMatch,                    Event::Note,           Cause::None,                 nothing},
    // One text on three lines.
    {"model-of-package",           "Firmware Model Name is %1.",        Event::Note,           Cause::None,                 "Compare it with the device."},
    {"model-of-device",            "Device Model Name is %1.",          Event::Note,           Cause::None,                 "Compare it with the device."},
    {"model-mismatch",             "Model Name does not match, upgrade fail.", Event::RunProblem,     Cause::WrongModel,           ofCause},
    {"model-name-retry-1",         text::modelNameRetry1,               Event::Note,           Cause::None,                 nothing},
    {"model-name-retry-2",         text::modelNameRetry2,               Event::Note,           Cause::None,                 nothing},
    {"model-name-fail",            text::modelNameFail,                 Event::RunProblem,     Cause::ModelSilent,          ofCause},
    {"model-name-error",           text::modelNameError,                Event::RunProblem,     Cause::ModelRefused,         ofCause},
    {"read-bootcode",              text::readBootcode,                  Event::ReadBegun,      Cause::None,                 nothing},
    {"bootcode-ignores-fpga",      text::bootcodeIgnoresFpga,           Event::ReadBegun,      Cause::None,                 nothing},
    {"bootcode-read",              text::bootcodeRead,                  Event::Reading,        Cause::None,                 nothing},
    {"bootcode-retry-1",           text::bootcodeRetry1,                Event::ReadRetry,      Cause::None,                 nothing},
    {"bootcode-retry-2",           text::bootcodeRetry2,                Event::ReadRetry,      Cause::None,                 nothing},
    {"first-bootcode-retry-1",     text::firstBootcodeRetry1,           Event::ReadRetry,      Cause::None,                 nothing},
    {"first-bootcode-retry-2",     text::firstBootcodeRetry2,           Event::ReadRetry,      Cause::None,                 nothing},
    {"bootcode-fail",              text::bootcodeFail,                  Event::McuProblem,     Cause::McuSilent,            ofCause},
    {"main-in-application",        text::mainInApplication,             Event::Note,           Cause::None,                 nothing},
    {"main-in-bootcode",           text::mainInBootcode,                Event::Note,           Cause::None,                 "Nothing: it is written first."},
    {"invalid-info-stops-read",    text::invalidInfoStopsRead,          Event::RunProblem,     Cause::InfoInvalid,          ofCause},
    {"invalid-info-stops-upgrade", text::invalidInfoStopsUpgrade,       Event::RunProblem,     Cause::InfoInvalid,          ofCause},
    {"bootcode-stops-read",        text::bootcodeStopsRead,             Event::RunProblem,     Cause::McuSilent,            ofCause},
    {"bootcode-stops-upgrade",     text::bootcodeStopsUpgrade,          Event::RunProblem,     Cause::McuSilent,            ofCause},
    {"read-product-info",          text::readProductInfo,               Event::Reading,        Cause::None,                 nothing},
    {"product-info-read",          text::productInfoRead,               Event::Reading,        Cause::None,                 nothing},
    {"product-info-retry-1",       text::productInfoRetry1,             Event::ReadRetry,      Cause::None,                 nothing},
    {"product-info-retry-2",       text::productInfoRetry2,             Event::ReadRetry,      Cause::None,                 nothing},
    {"product-info-fail",          text::productInfoFail,               Event::McuProblem,     Cause::McuSilent,            ofCause},
    {"product-info-stops-read",    text::productInfoStopsRead,          Event::RunProblem,     Cause::McuSilent,            ofCause},
    {"product-info-stops-upgrade", text::productInfoStopsUpgrade,       Event::RunProblem,     Cause::McuSilent,            ofCause},
    {"main-mcu-first",             text::mainMcuFirst,                  Event::Note,           Cause::None,                 nothing},
    {"all-info-read",              text::allInfoRead,                   Event::Note,           Cause::None,                 nothing},
    {"read-version",               text::readVersion,                   Event::ReadBegun,      Cause::None,                 nothing},
    {"version-of-3",               text::version3,                      Event::VersionRead,    Cause::None,                 nothing},
    {"version-of-2",               text::version2,                      Event::VersionRead,    Cause::None,                 nothing},
    {"version-retry-1",            text::versionRetry1,                 Event::ReadRetry,      Cause::None,                 nothing},
    {"version-retry-2",            text::versionRetry2,                 Event::ReadRetry,      Cause::None,                 nothing},
    {"version-fail",               text::versionFail,                   Event::McuProblem,     Cause::VersionUnread,        ofCause},
    {"all-versions-read",          text::allVersionsRead,               Event::Note,           Cause::None,                 nothing},
    {"read-virtual-version",       text::readVirtualVersion,            Event::Note,           Cause::None,                 nothing},
    {"virtual-version-read",       text::virtualVersionRead,            Event::Note,           Cause::None,                 nothing},
    {"virtual-version-error",      text::virtualVersionError,           Event::Note,           Cause::None,                 nothing},
    {"virtual-version-retry-1",    text::virtualVersionRetry1,          Event::Note,           Cause::None,                 nothing},
    {"virtual-version-retry-2",    text::virtualVersionRetry2,          Event::Note,           Cause::None,                 nothing},
    {"virtual-version-fail",       text::virtualVersionFail,            Event::Note,           Cause::None,                 nothing},
    {"info-report",                text::infoHeading,                   Event::Note,           Cause::None,                 nothing},
};

constexpr MessageRow decisionRows[] = {
    {"package-greater",            versiontext::greater,                Event::WillUpgrade,    Cause::None,                 nothing},
    {"package-equal",              versiontext::equal,                  Event::SameVersion,    Cause::None,                 "Nothing; mode 5 writes it all the same."},
    {"package-less",               versiontext::less,                   Event::PackageOlder,   Cause::None,                 "Nothing; mode 5 goes back to the older one."},
    {"bad-list-item",              text::badListItem,                   Event::McuProblem,     Cause::RowsRefused,          ofCause},
    {"short-list-item",            text::shortListItem,                 Event::McuProblem,     Cause::RowsRefused,          ofCause},
    {"no-firmware",                text::noFirmware,                    Event::NoFirmware,     Cause::NoFirmware,           ofCause},
    {"no-image",                   text::noImage,                       Event::McuProblem,     Cause::ImageMissing,         ofCause},
    {"bad-chip",                   text::badChip,                       Event::RowRefused,     Cause::RowsRefused,          ofCause},
};

constexpr MessageRow imageRows[] = {
    {"enter-sent",                 text::enterSent,                     Event::EnterSent,      Cause::None,                 nothing},
    {"enter-success",              text::enterSuccess,                  Event::Entered,        Cause::None,                 nothing},
    {"enter-retry",                text::enterRetry,                    Event::WriteRetry,     Cause::UpdateModeRefused,    ofCause},
    {"enter-fail",                 text::enterFail,                     Event::WriteRetry,     Cause::UpdateModeRefused,    ofCause},
    {"write-retry",                text::writeRetry,                    Event::WriteRetry,     Cause::ImageNotWritten,      ofCause},
    {"write-fail",                 text::writeFail,                     Event::WriteFailed,    Cause::ImageNotWritten,      ofCause},
    {"write-success",              text::writeSuccess,                  Event::Written,        Cause::None,                 nothing},
    {"all-written",                text::allWritten,                    Event::Note,           Cause::None,                 nothing},
    {"erasing",                    text::erasing,                       Event::Erasing,        Cause::None,                 "Do not cut the power from here on."},
    // One text on two lines.
    {"erased",                     "Erase success.",                    Event::Note,           Cause::None,                 "Do not cut the power."},
    {"writing",                    "Writing...",                        Event::Writing,        Cause::None,                 "Do not cut the power."},
    {"block-retry",                uploadText::retry,                   Event::BlockRetry,     Cause::None,                 nothing},
    {"block-success",              uploadText::success,                 Event::Note,           Cause::None,                 nothing},
    {"block-fail",                 uploadText::fail,                    Event::Note,           Cause::None,                 nothing},
    {"main-restarts",              text::mainRestarts,                  Event::MainRestarting, Cause::None,                 waiting},
    {"main-upgraded",              text::mainUpgraded,                  Event::MainBack,       Cause::None,                 nothing},
    {"read-product-id",            text::readProductId,                 Event::Note,           Cause::None,                 waiting},
    {"product-id-retry-1",         text::productIdRetry1,               Event::Note,           Cause::None,                 waiting},
    {"product-id-retry-2",         text::productIdRetry2,               Event::Note,           Cause::None,                 waiting},
    {"main-run-fail",              text::mainRunFail,                   Event::MainLost,       Cause::MainMcuLost,          ofCause},
};

constexpr MessageRow endRows[] = {
    {"send-reboot",                text::sendReboot,                    Event::Rebooting,      Cause::None,                 waiting},
    {"reboot-started",             text::rebootStarted,                 Event::RebootBegun,    Cause::None,                 waiting},
    {"reboot-retry-1",             text::rebootRetry1,                  Event::Note,           Cause::None,                 nothing},
    {"reboot-retry-2",             text::rebootRetry2,                  Event::Note,           Cause::None,                 nothing},
    {"reboot-fail",                text::rebootFail,                    Event::RunProblem,     Cause::RebootRefused,        ofCause},
    {"system-run-fail",            text::systemRunFail,                 Event::RunProblem,     Cause::DeviceLost,           ofCause},
    {"start-virtual-version",      text::startVirtualVersion,           Event::SettingVersion, Cause::None,                 nothing},
    {"ignore-virtual-version",     text::ignoreVirtualVersion,          Event::Note,           Cause::None,                 nothing},
    {"nothing-upgraded",           text::nothingUpgraded,               Event::Note,           Cause::NothingToDo,          ofCause},
    {"virtual-version-set",        text::virtualVersionSet,             Event::Note,           Cause::None,                 nothing},
    {"set-virtual-version-retry-1", text::setVirtualVersionRetry1,       Event::Note,           Cause::None,                 nothing},
    {"set-virtual-version-retry-2", text::setVirtualVersionRetry2,       Event::Note,           Cause::None,                 nothing},
    {"set-virtual-version-fail",   text::setVirtualVersionFail,         Event::RunProblem,     Cause::VirtualVersionNotSet, ofCause},
    {"all-success",                text::allSuccess,                    Event::Note,           Cause::None,                 nothing},
    {"virtual-version-not-set",    text::virtualVersionNotSet,          Event::RunProblem,     Cause::VirtualVersionNotSet, ofCause},
    {"all-but-virtual-version",    text::allButVirtualVersion,          Event::RunProblem,     Cause::VirtualVersionNotSet, ofCause},
};

constexpr MessageRow infoRows[] = {
    {"info-empty",                 text::infoEmpty,                     Event::RunProblem,     Cause::InfoNotWritten,       ofCause},
    {"info-malformed",             text::infoMalformed,                 Event::RunProblem,     Cause::InfoNotWritten,       ofCause},
    {"start-info-writes",          text::startInfoWrites,               Event::Note,           Cause::None,                 nothing},
    {"start-info-write",           text::startInfoWrite,                Event::Note,           Cause::None,                 nothing},
    {"write-ignores-fpga",         text::writeIgnoresFpga,              Event::Note,           Cause::None,                 nothing},
    {"all-info-written",           text::allInfoWritten,                Event::Note,           Cause::None,                 "Look at the rows' results."},
    {"info-written",               text::infoWritten,                   Event::Note,           Cause::None,                 nothing},
    {"info-write-retry-1",         text::infoWriteRetry1,               Event::Note,           Cause::None,                 nothing},
    {"info-write-retry-2",         text::infoWriteRetry2,               Event::Note,           Cause::None,                 nothing},
    {"info-write-fail",            text::infoWriteFail,                 Event::McuProblem,     Cause::InfoNotWritten,       ofCause},
};

constexpr MessageRow netRows[] = {
    {"net-package-start",          nettext::packageStart,               Event::NetStarted,     Cause::None,                 "Wait; the run goes on after it."},
    {"net-archive-failed",         nettext::archiveFailed,              Event::NetFailed,      Cause::NetArchiveNotStored,  ofCause},
    {"net-firmware-digest-wrong",  nettext::firmwareDigestWrong,        Event::NetFailed,      Cause::NetImageDamaged,      ofCause},
    {"net-firmware-digest-right",  nettext::firmwareDigestRight,        Event::Note,           Cause::None,                 nothing},
    {"net-package-digest-wrong",   nettext::packageDigestWrong,         Event::NetFailed,      Cause::NetImageDamaged,      ofCause},
    {"net-package-digest-right",   nettext::packageDigestRight,         Event::Note,           Cause::None,                 nothing},
    {"net-package-percent",        nettext::packagePercent,             Event::NetPercent,     Cause::None,                 waiting},
    {"net-upgrade-success",        nettext::upgradeSuccess,             Event::NetInstalled,   Cause::None,                 nothing},
    {"net-version-file-written",   nettext::versionFileWritten,         Event::Note,           Cause::None,                 nothing},
    {"net-version-file-failed",    nettext::versionFileFailed,          Event::RunProblem,     Cause::NetVersionNotStored,  ofCause},
    {"net-ready-to-reboot",        nettext::readyToReboot,              Event::NetReboot,      Cause::None,                 "Connect again in a while."},
};

// Said while packages are built; "do not exist", "error" and their like are about the request.
constexpr MessageRow buildRows[] = {
    {"build-start",                buildtext::start,                    Event::Note,           Cause::None,                 nothing},
    {"build-not-json",             buildtext::notJson,                  Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-not-an-object",        buildtext::notAnObject,              Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-chips-not-an-array",   buildtext::chipsNotAnArray,          Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-cannot-create",        buildtext::cannotCreate,             Event::RunProblem,     Cause::FileUnreadable,       ofCause},
    {"build-need-ver3",            buildtext::needVer3,                 Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-chip-type",            buildtext::chipType,                 Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-chip-quantity",        buildtext::chipQuantity,             Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-mcu-type",             buildtext::mcuType,                  Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-pcb-version",          buildtext::pcbVersion,               Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-speciality",           buildtext::speciality,               Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-image-missing",        buildtext::imageMissing,             Event::RunProblem,     Cause::FileUnreadable,       ofCause},
    {"build-image-unreadable",     buildtext::imageUnreadable,          Event::RunProblem,     Cause::FileUnreadable,       ofCause},
    {"build-success",              buildtext::success,                  Event::Note,           Cause::None,                 nothing},
    {"build-fail",                 buildtext::fail,                     Event::RunProblem,     Cause::FileUnreadable,       ofCause},
    {"build-cannot-open-net",      buildtext::cannotOpenNet,            Event::RunProblem,     Cause::FileUnreadable,       ofCause},
    {"build-cannot-open-package",  buildtext::cannotOpenPackage,        Event::RunProblem,     Cause::PackageUnreadable,    ofCause},
    {"build-package-header-error", buildtext::packageHeaderError,       Event::RunProblem,     Cause::PackageInvalid,       ofCause},
    {"build-package-checksum-ok",  buildtext::packageChecksumOk,        Event::Note,           Cause::None,                 nothing},
    {"build-no-document",          buildtext::noDocument,               Event::RunProblem,     Cause::DescriptionBroken,    ofCause},
    {"build-has-net",              buildtext::hasNet,                   Event::Note,           Cause::None,                 nothing},
    {"build-has-no-net",           buildtext::hasNoNet,                 Event::Note,           Cause::None,                 nothing},
    {"build-created",              buildtext::created,                  Event::Note,           Cause::None,                 nothing},
    {"build-cannot-create-package", buildtext::cannotCreatePackage,      Event::RunProblem,     Cause::FileUnreadable,       ofCause},
    {"build-net-record-not-found", buildtext::netRecordNotFound,        Event::RunProblem,     Cause::NetImageInvalid,      ofCause},
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
