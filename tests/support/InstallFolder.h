// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"

/** Installs of the module's own firmware use this folder only, and sync no disk. */
inline void useInstallFolder(platform::Platform &platform, const QString &folder)
{
    platform.paths.netArchive = folder + QStringLiteral("/sysupdate.tar.bz2");
    platform.paths.netVersion = folder + QStringLiteral("/version");
    platform.paths.netMarker = folder + QStringLiteral("/sysupdate.marker");
    platform.paths.keys = folder + QStringLiteral("/keys");
    platform.paths.root = folder;
    platform.system.syncFileSystem = [](const QString &) { return true; };
    platform.system.hasProcess = [](const QString &) { return false; };
}
