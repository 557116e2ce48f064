// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "planning/UpgradeMode.h"

#include <QStringList>

#include <functional>

namespace links {
class EngineRequests;
} // namespace links

class ParseEDID;
namespace platform {
struct Platform;
} // namespace platform

namespace console {

class ConsoleEvents;
class ConsoleReplies;
class PackageTurns;
struct ConsoleRequest;

/** What each request of the console does. */
class ConsoleCommands
{
public:
    /** What the requests need; it has to live as long as they do. */
    struct Parts
    {
        const platform::Platform &platform;
        links::EngineRequests &engine;
        ConsoleReplies &replies;
        ConsoleEvents &events;
        PackageTurns &turns;
        ParseEDID &edid;
        /** Whether the module's own install is active: its files and the coming reboot would harm
         *  any other upgrade. */
        std::function<bool()> isInstalling;
    };

    explicit ConsoleCommands(Parts parts) : m_parts(std::move(parts)) {}

    /** The agent's own version. */
    static QString version() { return QStringLiteral("1.15"); }

    /** Sends the reply to the current target. */
    void handle(const ConsoleRequest &request);
    /** The network link that a client asked for is up. */
    void networkConnected();

private:
    void setMode(const ConsoleRequest &request);
    void upgrade(const ConsoleRequest &request);
    void upgradeAll();
    void upgradeOverNetwork(const ConsoleRequest &request);
    void parseEdid(const ConsoleRequest &request);
    void startUpgrade(const QStringList &rows);
    void beforeReading();
    QString readDescription();
    bool isBusy() const;

    Parts m_parts;
    int m_upgradeModel = planning::upgradeMode::newerOnly;
    /** The client that asked for the network link. */
    RunRequest m_networkRequest;
};

} // namespace console
