// SPDX-License-Identifier: Apache-2.0
// What every line of the agent means to an upgrade, by the names of the agent's texts. The few
// literals are parts of texts; a test compares them with the whole.
#include "client/Messages.h"
#include "engine/report/EngineTexts.h"
#include "netupgrade/NetTexts.h"
#include "package/BuildTexts.h"
#include "planning/VersionTexts.h"
#include "protocol/ConsoleTexts.h"
#include "signing/SigningTexts.h"
#include "upload/UploadTexts.h"

namespace buildtext = package::buildtext;
namespace consoletext = protocol::consoletext;
namespace nettext = netupgrade::nettext;
namespace signtext = signing::signtext;
namespace text = engine::text;
namespace uploadText = upload::uploadText;
namespace versiontext = planning::versiontext;

namespace client {

namespace {

using Event = LineEvent;

/** The advice is that of the cause. */
constexpr const char *ofCause = nullptr;
constexpr const char *nothing = "";
constexpr const char *waiting = "Wait.";

// Here columns are easier to read than short lines.
// clang-format off
constexpr MessageRow serverRows[] = {
    {"device-busy",                consoletext::busy.data(),            Event::Busy,           ProblemId::Busy,                 ofCause},
    {"unknown-request",            consoletext::unknown.data(),         Event::RunProblem,     ProblemId::UnknownRequest,       ofCause},
    {"mode-set",                   "Set UPGRADEMODE to %1",             Event::ModeSet,        ProblemId::None,                 nothing},
    {"mode-error",                 consoletext::modeError.data(),       Event::RunProblem,     ProblemId::ModeRefused,          ofCause},
    {"rows-missing",               consoletext::upgradeError.data(),    Event::RunProblem,     ProblemId::RowsRefused,          ofCause},
    {"package-missing",            consoletext::noPackage.data(),       Event::RunProblem,     ProblemId::PackageMissing,       ofCause},
    {"device-connected",           consoletext::deviceConnected.data(), Event::RunStarted,     ProblemId::None,                 nothing},
};

constexpr MessageRow linkRows[] = {
    {"disconnect",                 text::disconnect,                    Event::Note,           ProblemId::None,                 "Expected at start and end; during a run check the port."},
    {"port-disconnected",          text::portDisconnected,              Event::Note,           ProblemId::None,                 "Expected at start and end; during a run check the port."},
    {"connect-fail",               protocol::key::connectFail,          Event::RunProblem,     ProblemId::PortUnavailable,      ofCause},
    {"connect-failed",             text::connectFailed,                 Event::RunProblem,     ProblemId::PortUnavailable,      ofCause},
    {"serial-send-failed",         text::serialSendFailed,              Event::RunProblem,     ProblemId::LinkBroken,           ofCause},
    {"network-send-failed",        text::networkSendFailed,             Event::RunProblem,     ProblemId::LinkBroken,           ofCause},
    {"not-connected",              text::notConnected,                  Event::RunProblem,     ProblemId::PortUnavailable,      ofCause},
};

constexpr MessageRow packageRows[] = {
    {"checksum-ok",                text::checksumOk,                    Event::Note,           ProblemId::None,                 nothing},
    {"package-version",            text::packageVersion,                Event::Note,           ProblemId::None,                 nothing},
    {"package-model",              text::modelName,                     Event::Note,           ProblemId::None,                 "Compare it with the device."},
    {"package-release",            text::release,                       Event::Note,           ProblemId::None,                 nothing},
    {"not-a-package",              text::notAPackage,                   Event::RunProblem,     ProblemId::PackageInvalid,       ofCause},
    {"bad-head",                   text::badHead,                       Event::RunProblem,     ProblemId::PackageInvalid,       ofCause},
    {"bad-description",            text::badDescription,                Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"bad-chips",                  text::badChips,                      Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"error-checksum",             text::errorChecksum,                 Event::RunProblem,     ProblemId::PackageDamaged,       ofCause},
    {"error-missing",              text::errorMissing,                  Event::RunProblem,     ProblemId::PackageMissing,       ofCause},
    {"error-open",                 text::errorOpen,                     Event::RunProblem,     ProblemId::PackageUnreadable,    ofCause},
    {"error-not-a-package",        text::errorNotAPackage,              Event::RunProblem,     ProblemId::PackageInvalid,       ofCause},
    {"bad-version",                text::badVersion,                    Event::RunProblem,     ProblemId::PackageTooOld,        ofCause},
    {"old-version",                text::oldVersion,                    Event::RunProblem,     ProblemId::PackageTooOld,        ofCause},
    {"package-changed",            text::packageChanged,                Event::RunProblem,     ProblemId::PackageChanged,       ofCause},
    {"package-not-read",           text::packageNotRead,                Event::RunProblem,     ProblemId::PackageReadError,     ofCause},
};

constexpr MessageRow signatureRows[] = {
    {"signature-ok",               signtext::trusted,                   Event::Note,           ProblemId::None,                 nothing},
    {"signature-missing",          signtext::notSigned,                 Event::RunProblem,     ProblemId::PackageNotSigned,     ofCause},
    {"signature-key-unknown",      signtext::unknownKey,                Event::RunProblem,     ProblemId::PackageKeyUnknown,    ofCause},
    {"signature-error",            signtext::signatureError,            Event::RunProblem,     ProblemId::PackageSignatureWrong, ofCause},
    {"keys-unusable",              signtext::keysUnusable,              Event::RunProblem,     ProblemId::KeysUnusable,         ofCause},
};

constexpr MessageRow readRows[] = {
    {"read-model-name",            text::readModelName,                 Event::RunStarted,     ProblemId::None,                 nothing},
    {"model-match",                text::modelMatch,                    Event::Note,           ProblemId::None,                 nothing},
    // One text on three lines.
    {"model-of-package",           "Firmware Model Name is %1.",        Event::Note,           ProblemId::None,                 "Compare it with the device."},
    {"model-of-device",            "Device Model Name is %1.",          Event::Note,           ProblemId::None,                 "Compare it with the device."},
    {"model-mismatch",             "Model Name does not match, upgrade fail.", Event::RunProblem,     ProblemId::WrongModel,           ofCause},
    {"model-name-retry-1",         text::modelNameRetry1,               Event::Note,           ProblemId::None,                 nothing},
    {"model-name-retry-2",         text::modelNameRetry2,               Event::Note,           ProblemId::None,                 nothing},
    {"model-name-fail",            text::modelNameFail,                 Event::RunProblem,     ProblemId::ModelSilent,          ofCause},
    {"model-name-error",           text::modelNameError,                Event::RunProblem,     ProblemId::ModelRefused,         ofCause},
    {"read-bootcode",              text::readBootcode,                  Event::ReadBegun,      ProblemId::None,                 nothing},
    {"bootcode-ignores-fpga",      text::bootcodeIgnoresFpga,           Event::ReadBegun,      ProblemId::None,                 nothing},
    {"bootcode-read",              text::bootcodeRead,                  Event::Reading,        ProblemId::None,                 nothing},
    {"bootcode-retry-1",           text::bootcodeRetry1,                Event::ReadRetry,      ProblemId::None,                 nothing},
    {"bootcode-retry-2",           text::bootcodeRetry2,                Event::ReadRetry,      ProblemId::None,                 nothing},
    {"first-bootcode-retry-1",     text::firstBootcodeRetry1,           Event::ReadRetry,      ProblemId::None,                 nothing},
    {"first-bootcode-retry-2",     text::firstBootcodeRetry2,           Event::ReadRetry,      ProblemId::None,                 nothing},
    {"bootcode-fail",              text::bootcodeFail,                  Event::McuProblem,     ProblemId::McuSilent,            ofCause},
    {"main-in-application",        text::mainInApplication,             Event::Note,           ProblemId::None,                 nothing},
    {"main-in-bootcode",           text::mainInBootcode,                Event::Note,           ProblemId::None,                 "It is written first."},
    {"invalid-info-stops-read",    text::invalidInfoStopsRead,          Event::RunProblem,     ProblemId::InfoInvalid,          ofCause},
    {"invalid-info-stops-upgrade", text::invalidInfoStopsUpgrade,       Event::RunProblem,     ProblemId::InfoInvalid,          ofCause},
    {"bootcode-stops-read",        text::bootcodeStopsRead,             Event::RunProblem,     ProblemId::McuSilent,            ofCause},
    {"bootcode-stops-upgrade",     text::bootcodeStopsUpgrade,          Event::RunProblem,     ProblemId::McuSilent,            ofCause},
    {"read-product-info",          text::readProductInfo,               Event::Reading,        ProblemId::None,                 nothing},
    {"product-info-read",          text::productInfoRead,               Event::Reading,        ProblemId::None,                 nothing},
    {"product-info-retry-1",       text::productInfoRetry1,             Event::ReadRetry,      ProblemId::None,                 nothing},
    {"product-info-retry-2",       text::productInfoRetry2,             Event::ReadRetry,      ProblemId::None,                 nothing},
    {"product-info-fail",          text::productInfoFail,               Event::McuProblem,     ProblemId::McuSilent,            ofCause},
    {"product-info-stops-read",    text::productInfoStopsRead,          Event::RunProblem,     ProblemId::McuSilent,            ofCause},
    {"product-info-stops-upgrade", text::productInfoStopsUpgrade,       Event::RunProblem,     ProblemId::McuSilent,            ofCause},
    {"main-mcu-first",             text::mainMcuFirst,                  Event::Note,           ProblemId::None,                 nothing},
    {"all-info-read",              text::allInfoRead,                   Event::Note,           ProblemId::None,                 nothing},
    {"read-version",               text::readVersion,                   Event::ReadBegun,      ProblemId::None,                 nothing},
    {"version-of-3",               text::version3,                      Event::VersionRead,    ProblemId::None,                 nothing},
    {"version-of-2",               text::version2,                      Event::VersionRead,    ProblemId::None,                 nothing},
    {"version-retry-1",            text::versionRetry1,                 Event::ReadRetry,      ProblemId::None,                 nothing},
    {"version-retry-2",            text::versionRetry2,                 Event::ReadRetry,      ProblemId::None,                 nothing},
    {"version-fail",               text::versionFail,                   Event::McuProblem,     ProblemId::VersionUnread,        ofCause},
    {"all-versions-read",          text::allVersionsRead,               Event::Note,           ProblemId::None,                 nothing},
    {"read-virtual-version",       text::readVirtualVersion,            Event::Note,           ProblemId::None,                 nothing},
    {"virtual-version-read",       text::virtualVersionRead,            Event::Note,           ProblemId::None,                 nothing},
    {"virtual-version-error",      text::virtualVersionError,           Event::Note,           ProblemId::None,                 nothing},
    {"virtual-version-retry-1",    text::virtualVersionRetry1,          Event::Note,           ProblemId::None,                 nothing},
    {"virtual-version-retry-2",    text::virtualVersionRetry2,          Event::Note,           ProblemId::None,                 nothing},
    {"virtual-version-fail",       text::virtualVersionFail,            Event::Note,           ProblemId::None,                 nothing},
    {"info-report",                text::infoHeading,                   Event::Note,           ProblemId::None,                 nothing},
};

constexpr MessageRow decisionRows[] = {
    {"package-greater",            versiontext::greater,                Event::WillUpgrade,    ProblemId::None,                 nothing},
    {"package-equal",              versiontext::equal,                  Event::SameVersion,    ProblemId::None,                 "Mode 5 writes it anyway."},
    {"package-less",               versiontext::less,                   Event::PackageOlder,   ProblemId::None,                 "Mode 5 goes back to the older one."},
    {"bad-list-item",              text::badListItem,                   Event::McuProblem,     ProblemId::RowsRefused,          ofCause},
    {"short-list-item",            text::shortListItem,                 Event::McuProblem,     ProblemId::RowsRefused,          ofCause},
    {"no-firmware",                text::noFirmware,                    Event::NoFirmware,     ProblemId::NoFirmware,           ofCause},
    {"no-image",                   text::noImage,                       Event::McuProblem,     ProblemId::ImageMissing,         ofCause},
    {"bad-chip",                   text::badChip,                       Event::RowRefused,     ProblemId::RowsRefused,          ofCause},
};

constexpr MessageRow imageRows[] = {
    {"enter-sent",                 text::enterSent,                     Event::EnterSent,      ProblemId::None,                 nothing},
    {"enter-success",              text::enterSuccess,                  Event::Entered,        ProblemId::None,                 nothing},
    {"enter-retry",                text::enterRetry,                    Event::WriteRetry,     ProblemId::UpdateModeRefused,    ofCause},
    {"enter-fail",                 text::enterFail,                     Event::WriteRetry,     ProblemId::UpdateModeRefused,    ofCause},
    {"write-retry",                text::writeRetry,                    Event::WriteRetry,     ProblemId::ImageNotWritten,      ofCause},
    {"write-fail",                 text::writeFail,                     Event::WriteFailed,    ProblemId::ImageNotWritten,      ofCause},
    {"write-success",              text::writeSuccess,                  Event::Written,        ProblemId::None,                 nothing},
    {"all-written",                text::allWritten,                    Event::Note,           ProblemId::None,                 nothing},
    {"erasing",                    text::erasing,                       Event::Erasing,        ProblemId::None,                 "Do not cut the power from here on."},
    // One text on two lines.
    {"erased",                     "Erase success.",                    Event::Note,           ProblemId::None,                 "Do not cut the power."},
    {"writing",                    "Writing...",                        Event::Writing,        ProblemId::None,                 "Do not cut the power."},
    {"block-retry",                uploadText::retry,                   Event::BlockRetry,     ProblemId::None,                 nothing},
    {"block-success",              uploadText::success,                 Event::Note,           ProblemId::None,                 nothing},
    {"block-fail",                 uploadText::fail,                    Event::Note,           ProblemId::None,                 nothing},
    {"main-restarts",              text::mainRestarts,                  Event::MainRestarting, ProblemId::None,                 waiting},
    {"main-upgraded",              text::mainUpgraded,                  Event::MainBack,       ProblemId::None,                 nothing},
    {"read-product-id",            text::readProductId,                 Event::Note,           ProblemId::None,                 waiting},
    {"product-id-retry-1",         text::productIdRetry1,               Event::Note,           ProblemId::None,                 waiting},
    {"product-id-retry-2",         text::productIdRetry2,               Event::Note,           ProblemId::None,                 waiting},
    {"main-run-fail",              text::mainRunFail,                   Event::MainLost,       ProblemId::MainMcuLost,          ofCause},
};

constexpr MessageRow endRows[] = {
    {"send-reboot",                text::sendReboot,                    Event::Rebooting,      ProblemId::None,                 waiting},
    {"reboot-started",             text::rebootStarted,                 Event::RebootBegun,    ProblemId::None,                 waiting},
    {"reboot-retry-1",             text::rebootRetry1,                  Event::Note,           ProblemId::None,                 nothing},
    {"reboot-retry-2",             text::rebootRetry2,                  Event::Note,           ProblemId::None,                 nothing},
    {"reboot-fail",                text::rebootFail,                    Event::RunProblem,     ProblemId::RebootRefused,        ofCause},
    {"system-run-fail",            text::systemRunFail,                 Event::RunProblem,     ProblemId::DeviceLost,           ofCause},
    {"start-virtual-version",      text::startVirtualVersion,           Event::SettingVersion, ProblemId::None,                 nothing},
    {"ignore-virtual-version",     text::ignoreVirtualVersion,          Event::Note,           ProblemId::None,                 nothing},
    {"nothing-upgraded",           text::nothingUpgraded,               Event::Note,           ProblemId::NothingToDo,          ofCause},
    {"virtual-version-set",        text::virtualVersionSet,             Event::Note,           ProblemId::None,                 nothing},
    {"set-virtual-version-retry-1", text::setVirtualVersionRetry1,       Event::Note,           ProblemId::None,                 nothing},
    {"set-virtual-version-retry-2", text::setVirtualVersionRetry2,       Event::Note,           ProblemId::None,                 nothing},
    {"set-virtual-version-fail",   text::setVirtualVersionFail,         Event::RunProblem,     ProblemId::VirtualVersionNotSet, ofCause},
    {"all-success",                text::allSuccess,                    Event::Note,           ProblemId::None,                 nothing},
    {"virtual-version-not-set",    text::virtualVersionNotSet,          Event::RunProblem,     ProblemId::VirtualVersionNotSet, ofCause},
    {"all-but-virtual-version",    text::allButVirtualVersion,          Event::RunProblem,     ProblemId::VirtualVersionNotSet, ofCause},
};

constexpr MessageRow infoRows[] = {
    {"info-empty",                 text::infoEmpty,                     Event::RunProblem,     ProblemId::InfoNotWritten,       ofCause},
    {"info-malformed",             text::infoMalformed,                 Event::RunProblem,     ProblemId::InfoNotWritten,       ofCause},
    {"start-info-writes",          text::startInfoWrites,               Event::Note,           ProblemId::None,                 nothing},
    {"start-info-write",           text::startInfoWrite,                Event::Note,           ProblemId::None,                 nothing},
    {"write-ignores-fpga",         text::writeIgnoresFpga,              Event::Note,           ProblemId::None,                 nothing},
    {"all-info-written",           text::allInfoWritten,                Event::Note,           ProblemId::None,                 "Look at the rows' results."},
    {"info-written",               text::infoWritten,                   Event::Note,           ProblemId::None,                 nothing},
    {"info-write-retry-1",         text::infoWriteRetry1,               Event::Note,           ProblemId::None,                 nothing},
    {"info-write-retry-2",         text::infoWriteRetry2,               Event::Note,           ProblemId::None,                 nothing},
    {"info-write-fail",            text::infoWriteFail,                 Event::McuProblem,     ProblemId::InfoNotWritten,       ofCause},
};

constexpr MessageRow netRows[] = {
    {"net-package-start",          nettext::packageStart,               Event::NetStarted,     ProblemId::None,                 "Wait; the run continues after it."},
    {"net-archive-failed",         nettext::archiveFailed,              Event::NetFailed,      ProblemId::NetArchiveNotStored,  ofCause},
    {"net-firmware-digest-wrong",  nettext::firmwareDigestWrong,        Event::NetFailed,      ProblemId::NetImageDamaged,      ofCause},
    {"net-firmware-digest-right",  nettext::firmwareDigestRight,        Event::Note,           ProblemId::None,                 nothing},
    {"net-package-digest-wrong",   nettext::packageDigestWrong,         Event::NetFailed,      ProblemId::NetImageDamaged,      ofCause},
    {"net-package-digest-right",   nettext::packageDigestRight,         Event::Note,           ProblemId::None,                 nothing},
    {"net-package-percent",        nettext::packagePercent,             Event::NetPercent,     ProblemId::None,                 waiting},
    {"net-upgrade-success",        nettext::upgradeSuccess,             Event::NetInstalled,   ProblemId::None,                 nothing},
    {"net-version-file-written",   nettext::versionFileWritten,         Event::Note,           ProblemId::None,                 nothing},
    {"net-version-file-failed",    nettext::versionFileFailed,          Event::RunProblem,     ProblemId::NetVersionNotStored,  ofCause},
    {"net-signed-only",            nettext::signedOnly,                 Event::RunProblem,     ProblemId::NetSignedOnly,        ofCause},
    {"net-ready-to-reboot",        nettext::readyToReboot,              Event::NetReboot,      ProblemId::None,                 "Connect again in a while."},
};

// Messages of the package builder; "do not exist", "error" and their like are about the request.
constexpr MessageRow buildRows[] = {
    {"build-start",                buildtext::start,                    Event::Note,           ProblemId::None,                 nothing},
    {"build-not-json",             buildtext::notJson,                  Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-not-an-object",        buildtext::notAnObject,              Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-chips-not-an-array",   buildtext::chipsNotAnArray,          Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-cannot-create",        buildtext::cannotCreate,             Event::RunProblem,     ProblemId::FileUnreadable,       ofCause},
    {"build-need-ver3",            buildtext::needVer3,                 Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-chip-type",            buildtext::chipType,                 Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-chip-quantity",        buildtext::chipQuantity,             Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-mcu-type",             buildtext::mcuType,                  Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-pcb-version",          buildtext::pcbVersion,               Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-speciality",           buildtext::speciality,               Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-image-missing",        buildtext::imageMissing,             Event::RunProblem,     ProblemId::FileUnreadable,       ofCause},
    {"build-image-unreadable",     buildtext::imageUnreadable,          Event::RunProblem,     ProblemId::FileUnreadable,       ofCause},
    {"build-success",              buildtext::success,                  Event::Note,           ProblemId::None,                 nothing},
    {"build-fail",                 buildtext::fail,                     Event::RunProblem,     ProblemId::FileUnreadable,       ofCause},
    {"build-cannot-open-net",      buildtext::cannotOpenNet,            Event::RunProblem,     ProblemId::FileUnreadable,       ofCause},
    {"build-cannot-open-package",  buildtext::cannotOpenPackage,        Event::RunProblem,     ProblemId::PackageUnreadable,    ofCause},
    {"build-package-header-error", buildtext::packageHeaderError,       Event::RunProblem,     ProblemId::PackageInvalid,       ofCause},
    {"build-package-checksum-ok",  buildtext::packageChecksumOk,        Event::Note,           ProblemId::None,                 nothing},
    {"build-no-document",          buildtext::noDocument,               Event::RunProblem,     ProblemId::DescriptionBroken,    ofCause},
    {"build-has-net",              buildtext::hasNet,                   Event::Note,           ProblemId::None,                 nothing},
    {"build-has-no-net",           buildtext::hasNoNet,                 Event::Note,           ProblemId::None,                 nothing},
    {"build-created",              buildtext::created,                  Event::Note,           ProblemId::None,                 nothing},
    {"build-cannot-create-package", buildtext::cannotCreatePackage,      Event::RunProblem,     ProblemId::FileUnreadable,       ofCause},
    {"build-net-record-not-found", buildtext::netRecordNotFound,        Event::RunProblem,     ProblemId::NetImageInvalid,      ofCause},
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
        joined(serverRows, linkRows, packageRows, signatureRows, readRows, decisionRows, imageRows,
               endRows, infoRows, netRows, buildRows);
    return rows;
}

} // namespace client
