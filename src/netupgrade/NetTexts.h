// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/** What the module's own upgrade tells the console, letter for letter. */
namespace nettext {

inline QString packageStart()
{
    return QStringLiteral("Start to upgrade NET firmware.");
}
inline QString archiveFailed()
{
    return QStringLiteral("Create fw_net error, upgrade net fail.");
}
inline QString firmwareDigestWrong()
{
    return QStringLiteral("NET firmware checksum fail, upgrade net fail.");
}
inline QString firmwareDigestRight()
{
    return QStringLiteral("NET firmware checksum success.");
}
inline QString packageDigestWrong()
{
    return QStringLiteral("NET package checksum error.");
}
inline QString packageDigestRight()
{
    return QStringLiteral("NET package checksum OK.");
}
inline QString packagePercent(int percent)
{
    return QStringLiteral("NET package upgrade %1%.").arg(percent);
}
inline QString upgradeSuccess(const QString &version)
{
    return QStringLiteral("NET firmware ver") + version + QStringLiteral(" upgrade success.");
}
inline QString versionFileWritten()
{
    return QStringLiteral("Create version file success");
}
inline QString versionFileFailed()
{
    return QStringLiteral("Failed to create version file");
}
inline QString readyToReboot()
{
    return QStringLiteral("NET ready to reboot after 2 seconds.");
}
/** First element of the list that carries the installed version. */
inline QString versionKey()
{
    return QStringLiteral("NETVERSION");
}

/** Sent to the peer of a block-by-block upgrade, outside any frame. */
inline QByteArray upgradingTrue()
{
    return QByteArrayLiteral("WriteIsUgradingTrue");
}
inline QByteArray upgradingFalse()
{
    return QByteArrayLiteral("WriteIsUgradingFalse");
}

} // namespace nettext
