// SPDX-License-Identifier: Apache-2.0
// Creates the object that carries out a sub-command.
#include "upgrade-console/AttachCommand.h"
#include "upgrade-console/DeployCommand.h"
#include "upgrade-console/SendNetCommand.h"
#include "upgrade-console/SimpleCommands.h"
#include "upgrade-console/StatusCommand.h"
#include "upgrade-console/TrafficCommands.h"
#include "upgrade-console/UpgradeCommand.h"

std::unique_ptr<Command> makeCommand(const Options &options)
{
    switch (options.command) {
    case Options::Command::Ping:
        return std::make_unique<PingCommand>(options);
    case Options::Command::Version:
        return std::make_unique<VersionCommand>(options);
    case Options::Command::Status:
        return std::make_unique<StatusCommand>(options);
    case Options::Command::List:
        return std::make_unique<ListCommand>(options);
    case Options::Command::Upgrade:
    case Options::Command::NetUpgrade:
        return std::make_unique<UpgradeCommand>(options);
    case Options::Command::Put:
        return std::make_unique<PutCommand>(options);
    case Options::Command::Deploy:
        return std::make_unique<DeployCommand>(options);
    case Options::Command::Attach:
        return std::make_unique<AttachCommand>(options);
    case Options::Command::Edid:
        return std::make_unique<EdidCommand>(options);
    case Options::Command::SendNet:
        return std::make_unique<SendNetCommand>(options);
    case Options::Command::Shell:
        return std::make_unique<ShellCommand>(options);
    case Options::Command::Watch:
        return std::make_unique<WatchCommand>(options);
    }
    return nullptr;
}
