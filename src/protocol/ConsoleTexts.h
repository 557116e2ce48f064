// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/AppStatus.h"
#include "protocol/MessageKeys.h"
#include "protocol/WireText.h"

#include <QByteArray>
#include <QString>

/**
 * Every word of the console's wire, letter for letter; the odd spelling is part of the interface.
 * Requests are found by their words anywhere in a line; replies end with lineEnd.
 */
namespace consoletext {

/** QLatin1String measures a text only at run time. */
constexpr QLatin1String operator""_text(const char *text, size_t size)
{
    return QLatin1String(text, int(size));
}

template<size_t size>
constexpr QLatin1String latin1(const char (&text)[size])
{
    return QLatin1String(text, int(size) - 1);
}

constexpr QLatin1String separator = "||"_text;
constexpr QLatin1String lineEnd = "\r\n"_text;

// Requests
constexpr QLatin1String heartbeat = "HEARTBEAT"_text;
constexpr QLatin1String getFirmwareList = "GETFIRMWARELIST"_text;
constexpr QLatin1String upgradeMode = "UPGRADEMODE||"_text;
constexpr QLatin1String upgrade = "UPGRADE||"_text;
constexpr QLatin1String upgradeAll = "UPGRADEALL"_text;
constexpr QLatin1String getVersionInformation = "GETVERINF"_text;
constexpr QLatin1String version = "VERSION"_text;
constexpr QLatin1String netUpgrade = "UPGRADEORVALE1G"_text;
constexpr QLatin1String parseEdid = "PARSEEDID"_text;

// Replies and their keys
#define WIRE_TEXT(id, ...) constexpr QLatin1String id = __VA_ARGS__##_text;
#include "protocol/ConsoleTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "protocol/ConsoleTexts.def"
#undef WIRE_TEXT
};

// Pieces of a NET package, in both directions
constexpr QLatin1String fragmentEnd = "\r\n"_text;
constexpr QLatin1String rebootDone = "RebootDone"_text;

// First elements of the engine's messages
constexpr QLatin1String statusMessage = latin1(key::appStatus);
constexpr QLatin1String connectedMessage = latin1(key::connectSuccess);
constexpr QLatin1String netVersionMessage = latin1(key::netVersion);
constexpr QLatin1String resultMessage = latin1(key::upgradeResult);
/** The status of a run that went well. */
constexpr QLatin1String successStatus = latin1(appStatus::success);

} // namespace consoletext
