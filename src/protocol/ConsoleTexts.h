// SPDX-License-Identifier: Apache-2.0
#pragma once

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
constexpr QLatin1String heartbeatReply = "HEARTBEAT\r\n"_text;
constexpr QLatin1String firmwareListKey = "FIRMWARELIST||"_text;
constexpr QLatin1String logKey = "UPGRADELOG||"_text;
constexpr QLatin1String progressKey = "PROGRESSVALUE||"_text;
constexpr QLatin1String versionKey = "VERSION||"_text;
constexpr QLatin1String netVersionKey = "NETVERSION||"_text;
constexpr QLatin1String edidResultKey = "PARSEEDIDRESULT||"_text;

constexpr QLatin1String unknown = "UPGRADELOG||Unknow command.\r\n"_text;
constexpr QLatin1String busy = "UPGRADELOG||The device is busy upgrading.\r\n"_text;
constexpr QLatin1String modeSet = "UPGRADELOG||Set UPGRADEMODE to "_text;
constexpr QLatin1String modeError = "UPGRADELOG||ERROR:UPGRADEMODE parameter error\r\n"_text;
constexpr QLatin1String upgradeError = "UPGRADELOG||ERROR:UPGRADE parameter error\r\n"_text;
constexpr QLatin1String noPackage = "UPGRADELOG||Firmware file does not exist.\r\n"_text;
constexpr QLatin1String edidError = "PARSEEDID||ERROR:PARSEEDID parameter command.\r\n"_text;
constexpr QLatin1String deviceConnected = "UPGRADELOG||Device connected.\r\n"_text;
constexpr QLatin1String connectSuccess = "Connect success.\r\n"_text;
constexpr QLatin1String disconnected = "\r\nDISCONNECTCOM\r\n"_text;
constexpr QLatin1String upgradeSuccess = "\r\nUPGRADESUCCESS\r\n"_text;
constexpr QLatin1String upgradeFail = "\r\nUPGRADEFAIL\r\n"_text;

// Pieces of a NET package, in both directions
constexpr QLatin1String fragmentKey = "UpgradeDatas||"_text;
constexpr QLatin1String fragmentEnd = "\r\n"_text;
constexpr QLatin1String rebootDone = "RebootDone"_text;

// First elements of the engine's messages
constexpr QLatin1String statusMessage = "APPSTATUS"_text;
constexpr QLatin1String connectedMessage = "ConnectSuccess"_text;
constexpr QLatin1String netVersionMessage = "NETVERSION"_text;
constexpr QLatin1String resultMessage = "UPGRADERESULT"_text;
/** The status of a run that went well. */
constexpr QLatin1String successStatus = "6"_text;

} // namespace consoletext
