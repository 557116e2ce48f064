// SPDX-License-Identifier: Apache-2.0
// The commands and options.
#include "upgrade-console/Options.h"

namespace {

using Command = Options::Command;
using Value = OptionRow::Value;

// Here columns are easier to read than short lines.
// clang-format off
// Several commands have these options.
const char *const modeHelp = "2: only MCUs that are older than the package (default); 5: all of them, and neither the model nor versions are compared. The device reboots at the end, also when nothing was to be written.";
const char *const yesHelp = "Do not ask before --mode 5; needed where there is no terminal.";
const char *const requestAllHelp = "Have the agent make the rows (UPGRADEALL): it addresses each chip with its quantity as the index.";
const char *const waitBackHelp = "If the network module restarts, wait until its agent answers again.";
const char *const rowHelp = "The MCUs: NAME,CHIP-TYPE,CHIP-INDEX each, or a name from the package. Without any, every chip of the package, index 0 to quantity - 1.";
const char *const packageHelp = "The package; it must pass the checks of 'fwm verify'.";
const char *const sshUserHelp = "The user on the module (default: as ssh is configured).";
const char *const sshPortHelp = "The port of the module's ssh server (default: as ssh is configured).";
const char *const sshOptionHelp = "An option of ssh, as in ssh_config; may be given several times.";
const char *const sftpHelp = "OpenSSH's sftp (default: sftp).";

} // namespace

const std::vector<CommandRow> &commandRows()
{
    static const std::vector<CommandRow> rows = {
        {Command::Ping,       "ping",        "Ask whether the agent answers, and how fast."},
        {Command::Version,    "version",     "Show the agent's version."},
        {Command::Status,     "status",      "Show whether the agent answers and is busy, and its package."},
        {Command::List,       "list",        "Show the firmware package on the device."},
        {Command::Upgrade,    "upgrade",     "Upgrade the device's MCUs from that package."},
        {Command::NetUpgrade, "net-upgrade", "Upgrade the main MCU of a device that is reached over the network."},
        {Command::Attach,     "attach",      "Follow an upgrade that another client started."},
        {Command::Put,        "put",         "Copy a package to the module over ssh, and verify the copy."},
        {Command::Deploy,     "deploy",      "Copy a package to the module over ssh and upgrade the device from it."},
        {Command::Edid,       "edid",        "Have the agent report a display's EDID."},
        {Command::SendNet,    "send-net",    "Send new firmware to the network module."},
        {Command::Shell,      "shell",       "Send requests by hand."},
        {Command::Watch,      "watch",       "Show everything that the agent sends."},
    };
    return rows;
}

const std::vector<OptionRow> &optionRows()
{
    static const std::vector<OptionRow> rows = {
        {"", "--host",        Value::Host, "HOST", {}, "Host name or address of the device (default: localhost)."},
        {"", "--port",        Value::Text, "PORT", {}, "The agent's TCP port (default: 35353)."},
        {"", "--timeout",     Value::Text, "SECONDS", {}, "Give up after this time without a reply from the agent (default: 60)."},
        {"", "--no-progress", Value::None, "", {}, "Show no bars, even on a terminal."},
        {"upgrade",     "--mode",      Value::Choice, "MODE", {"2", "5"}, modeHelp},
        {"upgrade",     "--yes",       Value::None,   "", {}, yesHelp},
        {"upgrade",     "--request-all", Value::None, "", {}, requestAllHelp},
        {"upgrade",     "--package",   Value::File,   "FILE", {}, "A copy of the device's package, to compute the duration of the upgrade. A different package is refused. On the module itself the device's file is read."},
        {"upgrade",     "--wait-back", Value::None,   "", {}, waitBackHelp},
        {"upgrade",     "ROW",         Value::Text,   "ROW", {}, rowHelp},
        {"net-upgrade", "--mode",      Value::Choice, "MODE", {"2", "5"}, modeHelp},
        {"net-upgrade", "--yes",       Value::None,   "", {}, yesHelp},
        {"net-upgrade", "ADDRESS",     Value::Text,   "ADDRESS", {}, "The device's IPv4 address, as the module sees it."},
        {"attach",      "--wait-back", Value::None,   "", {}, waitBackHelp},
        {"put",         "FILE",        Value::File,   "FILE", {}, packageHelp},
        {"put",         "--ssh-user",  Value::Text,   "USER", {}, sshUserHelp},
        {"put",         "--ssh-port",  Value::Text,   "PORT", {}, sshPortHelp},
        {"put",         "--ssh-option", Value::Text,  "NAME=VALUE", {}, sshOptionHelp},
        {"put",         "--sftp",      Value::File,   "PROGRAM", {}, sftpHelp},
        {"deploy",      "FILE",        Value::File,   "FILE", {}, packageHelp},
        {"deploy",      "--ssh-user",  Value::Text,   "USER", {}, sshUserHelp},
        {"deploy",      "--ssh-port",  Value::Text,   "PORT", {}, sshPortHelp},
        {"deploy",      "--ssh-option", Value::Text,  "NAME=VALUE", {}, sshOptionHelp},
        {"deploy",      "--sftp",      Value::File,   "PROGRAM", {}, sftpHelp},
        {"deploy",      "--mode",      Value::Choice, "MODE", {"2", "5"}, modeHelp},
        {"deploy",      "--yes",       Value::None,   "", {}, yesHelp},
        {"deploy",      "--request-all", Value::None, "", {}, requestAllHelp},
        {"deploy",      "--wait-back", Value::None,   "", {}, waitBackHelp},
        {"deploy",      "ROW",         Value::Text,   "ROW", {}, rowHelp},
        {"edid",        "FILE",        Value::File,   "FILE", {}, "EDID dump, binary or hexadecimal text; - reads standard input."},
        {"send-net",    "FILE",        Value::File,   "FILE", {}, "An image for the network module, as 'fwm make-net' makes it."},
        {"send-net",    "--wait-back", Value::None,   "", {}, "Wait until the restarted module's agent answers again."},
    };
    return rows;
}
// clang-format on
