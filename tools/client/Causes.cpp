// SPDX-License-Identifier: Apache-2.0
#include "client/Causes.h"

#include "protocol/Statuses.h"

#include <algorithm>
#include <iterator>

namespace status = protocol::status;

namespace client {

namespace {

struct BlockStatus
{
    quint8 status;
    Cause cause;
};

const BlockStatus blockStatuses[] = {
    {status::done, Cause::None},
    {status::checksumError, Cause::BlockDamaged},
    {status::refused, Cause::BlockRefused},
};

// In the order of the enumeration.
// clang-format off
constexpr CauseRow causeRows[] = {
    {Cause::None, "none", ExitCode::Done, "6", "all went well", "Nothing."},

    {Cause::CannotConnect, "cannot-connect", ExitCode::CannotConnect, "",
     "the agent cannot be reached",
     "Check the address, the port (35353) and that the device is on. A firewall may be in the way."},
    {Cause::ConnectionLost, "connection-lost", ExitCode::ConnectionLost, "",
     "the agent closed the connection",
     "Wait a minute and ask with 'ping'."},
    {Cause::NoSignOfLife, "no-sign-of-life", ExitCode::ConnectionLost, "",
     "the agent does not answer any more",
     "Check the network and the device's power, then ask with 'ping'. A slow board may need a longer --timeout."},
    {Cause::Interrupted, "interrupted", ExitCode::ConnectionLost, "",
     "interrupted by the user",
     "Run the command again."},
    {Cause::OutcomeUnseen, "outcome-unseen", ExitCode::ConnectionLost, "",
     "another client took the messages, so the outcome was not seen in whole",
     "Run the upgrade again: in mode 2 it only writes what is still older than the package."},
    {Cause::BeginningUnseen, "beginning-unseen", ExitCode::ConnectionLost, "",
     "the beginning of the run was not seen, so what was done before is unknown",
     "Run the upgrade again: in mode 2 it only writes what is still older than the package."},

    {Cause::Busy, "busy", ExitCode::DeviceBusy, "",
     "the device is busy with an upgrade",
     "Wait for its end and try again. Whoever asks takes over the running upgrade's messages: do not ask often."},
    {Cause::NothingToDo, "nothing-to-do", ExitCode::NothingToDo, "6",
     "no MCU needs what the package holds",
     "Nothing. The device was rebooted all the same, as after every run."},
    {Cause::NotRunning, "not-running", ExitCode::NothingToDo, "",
     "no upgrade is under way",
     "Start one with 'upgrade'; the agent does not report how the last one ended."},
    {Cause::UnknownRequest, "unknown-request", ExitCode::Failed, "",
     "the agent does not know the request",
     "Compare the versions of agent and client."},
    {Cause::RowsRefused, "rows-refused", ExitCode::Failed, "",
     "the agent cannot read a row of the request",
     "Write each row as NAME,CHIP-TYPE,CHIP-INDEX."},
    {Cause::NotInPackage, "not-in-package", ExitCode::Usage, "",
     "the package holds nothing for a row of the request",
     "Compare the rows with 'list'. Nothing was sent to the device."},
    {Cause::NotConfirmed, "not-confirmed", ExitCode::Usage, "",
     "mode 5 was not confirmed",
     "Mode 5 compares neither the device's model nor any version. Answer the question with 'yes', or give --yes where there is no terminal. Nothing was sent to the device."},
    {Cause::ModeRefused, "mode-refused", ExitCode::Failed, "",
     "the agent refuses the upgrade mode",
     "Use mode 2 or 5."},
    {Cause::EdidRefused, "edid-refused", ExitCode::Failed, "",
     "the agent makes no report of these bytes",
     "Check that the dump is a complete EDID of 128 or 256 bytes; 'edid-report' tells more."},
    {Cause::FileUnreadable, "file-unreadable", ExitCode::Failed, "",
     "the file cannot be used",
     "Check its name, its rights and its content."},
    {Cause::NotStarted, "not-started", ExitCode::Failed, "",
     "the agent did not start the upgrade",
     "For net-upgrade: check that the device at that address is on and listens on port 6752. Otherwise try again."},
    {Cause::OutputUnwritable, "output-unwritable", ExitCode::Failed, "",
     "standard output cannot be written",
     "Check that the disk is not full and that the program that reads the output still runs."},

    {Cause::PackageMissing, "package-missing", ExitCode::PackageRefused, "2",
     "the device holds no firmware package",
     "Put the package at /data/FW.fwm on the device."},
    {Cause::PackageUnreadable, "package-unreadable", ExitCode::PackageRefused, "2",
     "the agent may not read the package",
     "Check owner and rights of /data/FW.fwm on the device."},
    {Cause::PackageInvalid, "package-invalid", ExitCode::PackageRefused, "2",
     "the file is no firmware package",
     "Check it with 'fwm verify' and put it on the device again."},
    {Cause::PackageDamaged, "package-damaged", ExitCode::PackageRefused, "2",
     "the package's checksum is wrong",
     "It was damaged on its way: check it with 'fwm verify' and copy it again."},
    {Cause::PackageTooOld, "package-too-old", ExitCode::PackageRefused, "2",
     "the package has a format that cannot be used for upgrades",
     "Build it again with 'fwm build'; format 6 or later is needed."},
    {Cause::PackageChanged, "package-changed", ExitCode::Failed, "2",
     "the package was changed during the upgrade",
     "Put the package on the device under another name, rename it to FW.fwm, and run the upgrade again."},
    {Cause::PackageReadError, "package-read-error", ExitCode::Failed, "2",
     "the agent could not read the package to its end",
     "The disk or card of the device may fail: see its system log, then put the package there again."},
    {Cause::PackageDiffers, "package-differs", ExitCode::Failed, "",
     "the device holds another package than the file of --package",
     "Put that file on the device, or leave --package out. Nothing was sent to the device."},
    {Cause::PackageUnsound, "package-unsound", ExitCode::PackageRefused, "",
     "the package does not pass the checks of 'fwm verify'",
     "Check it with 'fwm verify' and build it again. Nothing was sent to the module."},
    {Cause::SshFailed, "ssh-failed", ExitCode::Failed, "",
     "the package could not be copied over ssh",
     "Check that 'sftp HOST' reaches the module without a password; --ssh-user, --ssh-port and --ssh-option say how. The module has its package from before, or the whole new one."},
    {Cause::CopyDamaged, "copy-damaged", ExitCode::Failed, "",
     "the copy on the module differs from the file",
     "Check the module's disk and that the file does not change, and copy it again. The package of the module is as it was."},
    {Cause::CopyNotListed, "copy-not-listed", ExitCode::Failed, "",
     "the agent lists another package than the one that was copied",
     "Check that ssh and the agent's port lead to the same module, and that no other client puts packages on it."},
    {Cause::DescriptionBroken, "description-broken", ExitCode::PackageRefused, "2",
     "the package's description cannot be read",
     "Check it with 'fwm verify' and build it again."},
    {Cause::WrongModel, "wrong-model", ExitCode::PackageRefused, "7",
     "the package is for another model of device",
     "Get the package for this model. Nothing was written."},

    {Cause::PortUnavailable, "port-unavailable", ExitCode::Failed, "7",
     "the agent cannot open the serial port to the device",
     "Another program on the module may hold ttyS2, or the agent may not use it."},
    {Cause::LinkBroken, "link-broken", ExitCode::Failed, "7",
     "the link between the agent and the device broke",
     "Check the device's power and the link, then run the upgrade again."},
    {Cause::ModelSilent, "model-silent", ExitCode::Failed, "7",
     "the main MCU does not tell its model",
     "Check the device's power and the cable between the network module and the device, then run the upgrade again."},
    {Cause::ModelRefused, "model-refused", ExitCode::Failed, "7",
     "the main MCU refuses to tell its model",
     "Its firmware may be incomplete. --mode 5 does not ask for the model: compare the package's model with the device's label first."},
    {Cause::McuSilent, "mcu-silent", ExitCode::Failed, "7",
     "an MCU does not answer",
     "Check that the row names an MCU that the device has, switch the device off and on, and try again."},
    {Cause::VersionUnread, "version-unread", ExitCode::Failed, "",
     "an MCU does not tell its version",
     "Switch the device off and on, and try again."},
    {Cause::InfoInvalid, "info-invalid", ExitCode::Failed, "10",
     "the main MCU has no valid product information",
     "Have the product information written first."},
    {Cause::InfoNotWritten, "info-not-written", ExitCode::Failed, "",
     "product information was not written",
     "Switch the device off and on, and try again."},
    {Cause::NoFirmware, "no-firmware", ExitCode::NothingToDo, "",
     "the package holds nothing for this MCU",
     "Compare the row with 'list'."},
    {Cause::ImageMissing, "image-missing", ExitCode::Failed, "",
     "the package describes an image that it does not hold",
     "Check it with 'fwm verify' and build it again."},
    {Cause::UpdateModeRefused, "update-mode-refused", ExitCode::Failed, "",
     "an MCU does not go into its update mode",
     "Switch the device off and on, and run the upgrade again."},
    {Cause::ImageNotWritten, "image-not-written", ExitCode::Failed, "",
     "an image could not be written, after three attempts",
     "Leave the device on and run the upgrade again: the MCU waits in its bootcode for a whole image."},
    {Cause::MainMcuLost, "main-mcu-lost", ExitCode::Failed, "5",
     "the main MCU did not come back with its new firmware",
     "Check the cable between the network module and the device, switch the device off and on, and run the upgrade again."},
    {Cause::RebootRefused, "reboot-refused", ExitCode::Failed, "5",
     "the device does not reboot",
     "Switch the device off and on by hand; the table says which images are written."},
    {Cause::DeviceLost, "device-lost", ExitCode::Failed, "5",
     "the device did not come back after its reboot",
     "Wait a minute, check the cable between the network module and the device, and switch the device off and on; then run the upgrade again."},
    {Cause::VirtualVersionNotSet, "virtual-version-not-set", ExitCode::Failed, "6 7",
     "the images are written, but the device did not store the package's version number",
     "The device works; the next upgrade that writes an image stores the number."},
    {Cause::Unexplained, "unexplained", ExitCode::Failed, "7 9",
     "the agent ended the upgrade without a reason",
     "The device showed no sign of life. Switch it off and on, and run the upgrade again."},

    {Cause::NetImageInvalid, "net-image-invalid", ExitCode::PackageRefused, "",
     "the file is no image for the network module",
     "Make it with 'fwm make-net'."},
    {Cause::NetImageDamaged, "net-image-damaged", ExitCode::PackageRefused, "",
     "the digest of the network module's image is wrong",
     "It was damaged on its way, or its digest is not in lower case: make it again with 'fwm make-net'. Nothing was unpacked."},
    {Cause::NetArchiveNotStored, "net-archive-not-stored", ExitCode::Failed, "",
     "the network module cannot store the image",
     "Check the free space and the rights of /data on the module."},
    {Cause::NetVersionNotStored, "net-version-not-stored", ExitCode::Failed, "",
     "the network module's firmware is installed, but its version was not recorded",
     "Check the free space and the rights of /data on the module."},
    {Cause::BlockDamaged, "block-damaged", ExitCode::Failed, "",
     "a block arrived damaged, after three attempts",
     "Check the network and try again."},
    {Cause::BlockRefused, "block-refused", ExitCode::Failed, "",
     "the network module refuses a block",
     "If the device is being upgraded, wait until that has ended; otherwise check the free space and "
     "the rights of /data on the module."},
    {Cause::BlockUnanswered, "block-unanswered", ExitCode::ConnectionLost, "",
     "the network module does not answer a block, after three attempts",
     "Ask with 'ping', then try again: nothing is installed before the last block."},
};
// clang-format on

} // namespace

const std::vector<CauseRow> &causeTable()
{
    static const std::vector<CauseRow> rows(std::begin(causeRows), std::end(causeRows));
    return rows;
}

const CauseRow &causeRow(Cause cause)
{
    return causeTable().at(size_t(cause));
}

Cause causeOfBlockStatus(quint8 status)
{
    const auto *found =
        std::find_if(std::begin(blockStatuses), std::end(blockStatuses),
                     [status](const BlockStatus &row) { return row.status == status; });
    return found == std::end(blockStatuses) ? Cause::BlockRefused : found->cause;
}

QJsonObject causeJson(Cause cause)
{
    const CauseRow &row = causeRow(cause);
    return {
        {"cause", QString::fromLatin1(row.id)},
        {"text", QString::fromLatin1(row.words)},
        {"advice", QString::fromLatin1(row.advice)},
    };
}

} // namespace client
