// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/AppStatus.h"
#include "protocol/MessageKeys.h"
#include "protocol/WireText.h"

#include <QByteArray>
#include <QString>

/**
 * The exact texts of the console protocol; their spelling is part of the interface. A request is
 * recognized by its word anywhere in a line; replies end with lineEnd.
 */
namespace protocol::consoletext {

/** QLatin1String measures a text only at run time. */
template<size_t size>
constexpr QLatin1String latin1(const char (&text)[size])
{
    return QLatin1String(text, int(size) - 1);
}

constexpr QLatin1String separator = latin1("||");
constexpr QLatin1String lineEnd = latin1("\r\n");

// Requests
constexpr QLatin1String heartbeat = latin1("HEARTBEAT");
constexpr QLatin1String getFirmwareList = latin1("GETFIRMWARELIST");
constexpr QLatin1String upgradeMode = latin1("UPGRADEMODE||");
constexpr QLatin1String upgrade = latin1("UPGRADE||");
constexpr QLatin1String upgradeAll = latin1("UPGRADEALL");
constexpr QLatin1String getVersionInformation = latin1("GETVERINF");
constexpr QLatin1String version = latin1("VERSION");
constexpr QLatin1String netUpgrade = latin1("UPGRADEORVALE1G");
constexpr QLatin1String parseEdid = latin1("PARSEEDID");

// Replies and their keys
#define WIRE_TEXT(id, words) constexpr QLatin1String id = latin1(words);
#include "protocol/ConsoleTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, words) {#id, words},
#include "protocol/ConsoleTexts.def"
#undef WIRE_TEXT
};

// Pieces of a NET package, in both directions
constexpr QLatin1String fragmentEnd = latin1("\r\n");
constexpr QLatin1String rebootDone = latin1("RebootDone");

// First elements of the engine's messages
constexpr QLatin1String statusMessage = latin1(key::appStatus);
constexpr QLatin1String connectedMessage = latin1(key::connectSuccess);
constexpr QLatin1String netVersionMessage = latin1(key::netVersion);
constexpr QLatin1String resultMessage = latin1(key::upgradeResult);
/** The status of a successful run. */
constexpr QLatin1String successStatus = latin1(appStatus::success);

} // namespace protocol::consoletext
