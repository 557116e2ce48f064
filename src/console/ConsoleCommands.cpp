// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleCommands.h"

#include "console/ConsoleEvents.h"
#include "console/ConsoleReplies.h"
#include "console/ConsoleRequest.h"
#include "console/FirmwareRows.h"
#include "console/PackageTurns.h"
#include "edid/DumpText.h"
#include "edid/ParseEDID.h"
#include "links/EngineRequests.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"

#include <QFileInfo>

using platform::logConsole;

namespace consoletext = protocol::consoletext;

namespace console {

namespace {

/** The row that an upgrade over the network writes: the main MCU of chip type 0, index 1. */
const char *const networkRow = "MAIN,0,1";

} // namespace

void ConsoleCommands::handle(const ConsoleRequest &request)
{
    switch (request.command) {
    case ConsoleRequest::Command::ParseEdid:
        return parseEdid(request);
    case ConsoleRequest::Command::Heartbeat:
        qCDebug(logConsole) << "Send:HEARTBEAT";
        return m_parts.replies.send(consoletext::heartbeatReply);
    case ConsoleRequest::Command::FirmwareList:
        return m_parts.replies.send(consoletext::firmwareListKey + readDescription() +
                                    consoletext::lineEnd);
    case ConsoleRequest::Command::UpgradeMode:
        return setMode(request);
    case ConsoleRequest::Command::Upgrade:
        return upgrade(request);
    case ConsoleRequest::Command::UpgradeAll:
        return upgradeAll();
    case ConsoleRequest::Command::Version:
        return m_parts.replies.send(consoletext::versionKey + version() + consoletext::lineEnd);
    case ConsoleRequest::Command::NetUpgrade:
        return upgradeOverNetwork(request);
    case ConsoleRequest::Command::Unknown:
        return m_parts.replies.send(consoletext::unknown);
    }
}

void ConsoleCommands::setMode(const ConsoleRequest &request)
{
    const std::optional<int> mode = request.mode();
    if (!mode) {
        m_parts.replies.send(consoletext::modeError);
        return;
    }
    m_upgradeModel = *mode;
    m_parts.replies.send(consoletext::modeSet + request.parts.at(1) + consoletext::lineEnd);
}

void ConsoleCommands::upgrade(const ConsoleRequest &request)
{
    if (isBusy()) {
        m_parts.replies.send(consoletext::busy);
        return;
    }
    m_parts.engine.disconnected();
    if (request.parts.size() < 2) {
        m_parts.replies.send(consoletext::upgradeError);
        return;
    }
    const QStringList rows = request.rows();
    if (!rows.isEmpty())
        startUpgrade(rows);
}

/** Without a reply when it is not possible, even while busy. */
void ConsoleCommands::upgradeAll()
{
    if (isBusy())
        return;
    beforeReading();
    const QString description =
        m_parts.engine.getMergeFWJSONForUpgrade(m_parts.platform.paths.package);
    qCDebug(logConsole) << "jsonData:" << description;
    qCDebug(logConsole) << "jsonDataLength:" << description.size();
    const QStringList rows = firmwareRows(description);
    if (rows.isEmpty())
        return;
    m_parts.engine.disconnected();
    startUpgrade(rows);
}

void ConsoleCommands::upgradeOverNetwork(const ConsoleRequest &request)
{
    qCDebug(logConsole) << "UPGRADEORVALE1G";
    const std::optional<QString> address = request.address();
    if (!address) {
        m_parts.replies.send(consoletext::unknown);
        return;
    }
    if (isBusy()) {
        m_parts.replies.send(consoletext::busy);
        return;
    }
    if (!QFileInfo::exists(m_parts.platform.paths.package)) {
        qCDebug(logConsole) << "file does not exist";
        m_parts.replies.send(consoletext::noPackage);
        return;
    }
    m_networkRequest = {RunRequest::Kind::Network, m_parts.replies.target(), *address, 0, 1};
    m_parts.engine.connectNet(*address, m_parts.platform.ports.device);
}

void ConsoleCommands::parseEdid(const ConsoleRequest &request)
{
    const std::optional<QString> text = request.edidText();
    const std::optional<QByteArray> bytes =
        text ? edid::bytesFromText(*text) : std::optional<QByteArray>();
    if (!bytes) {
        m_parts.replies.send(consoletext::edidError);
        return;
    }
    m_parts.edid.parse(reinterpret_cast<const unsigned char *>(bytes->constData()));
}

void ConsoleCommands::startUpgrade(const QStringList &rows)
{
    qCDebug(logConsole) << "UploadStart";
    emit m_parts.events.runRequested({RunRequest::Kind::Serial, m_parts.replies.target(),
                                      m_parts.platform.ports.serial, m_upgradeModel,
                                      int(rows.size())});
    m_parts.engine.onConnect(m_parts.platform.ports.serial);
    m_parts.engine.uploadByMergeFW(m_parts.platform.paths.package, rows, m_upgradeModel);
}

void ConsoleCommands::networkConnected()
{
    m_parts.replies.send(consoletext::deviceConnected);
    if (isBusy())
        return;
    m_networkRequest.mode = m_upgradeModel;
    emit m_parts.events.runRequested(m_networkRequest);
    readDescription();
    m_parts.engine.uploadByMergeFW(m_parts.platform.paths.package,
                                   {QString::fromLatin1(networkRow)}, m_upgradeModel);
}

void ConsoleCommands::beforeReading()
{
    // Reading a large package takes a while; earlier replies are sent first.
    m_parts.replies.flush();
    m_parts.turns.take();
}

QString ConsoleCommands::readDescription()
{
    beforeReading();
    return m_parts.engine.getMergeFWJSON(m_parts.platform.paths.package);
}

bool ConsoleCommands::isBusy() const
{
    return m_parts.engine.runActive() || m_parts.isInstalling();
}

} // namespace console
