// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLatin1String>

/** The words of the console's wire that a client sends and reads, letter for letter. */
namespace consoletext {

constexpr QLatin1String separator{"||"};
constexpr QLatin1String lineEnd{"\r\n"};

// Requests
constexpr QLatin1String heartbeat{"HEARTBEAT"};
constexpr QLatin1String getFirmwareList{"GETFIRMWARELIST"};
constexpr QLatin1String upgradeMode{"UPGRADEMODE||"};
constexpr QLatin1String upgrade{"UPGRADE||"};
constexpr QLatin1String upgradeAll{"UPGRADEALL"};
constexpr QLatin1String version{"VERSION"};
constexpr QLatin1String netUpgrade{"UPGRADEORVALE1G"};
constexpr QLatin1String parseEdid{"PARSEEDID"};

// Replies and their keys
constexpr QLatin1String firmwareListKey{"FIRMWARELIST||"};
constexpr QLatin1String logKey{"UPGRADELOG||"};
constexpr QLatin1String progressKey{"PROGRESSVALUE||"};
constexpr QLatin1String versionKey{"VERSION||"};
constexpr QLatin1String netVersionKey{"NETVERSION||"};
constexpr QLatin1String edidResultKey{"PARSEEDIDRESULT||"};
constexpr QLatin1String connectSuccess{"Connect success.\r\n"};
constexpr QLatin1String disconnected{"\r\nDISCONNECTCOM\r\n"};
constexpr QLatin1String upgradeSuccess{"\r\nUPGRADESUCCESS\r\n"};
constexpr QLatin1String upgradeFail{"\r\nUPGRADEFAIL\r\n"};
constexpr QLatin1String unknown{"UPGRADELOG||Unknow command.\r\n"};
constexpr QLatin1String busy{"UPGRADELOG||The device is busy upgrading.\r\n"};
constexpr QLatin1String modeSet{"UPGRADELOG||Set UPGRADEMODE to "};
constexpr QLatin1String modeError{"UPGRADELOG||ERROR:UPGRADEMODE parameter error\r\n"};
constexpr QLatin1String upgradeError{"UPGRADELOG||ERROR:UPGRADE parameter error\r\n"};
constexpr QLatin1String noPackage{"UPGRADELOG||Firmware file does not exist.\r\n"};
constexpr QLatin1String edidError{"PARSEEDID||ERROR:PARSEEDID parameter command.\r\n"};
constexpr QLatin1String deviceConnected{"UPGRADELOG||Device connected.\r\n"};

// Pieces of a NET package, in both directions
constexpr QLatin1String fragmentKey{"UpgradeDatas||"};
constexpr QLatin1String fragmentEnd{"\r\n"};

} // namespace consoletext
