// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetMarkerFile.h"

#include "bytes/AtomicFile.h"
#include "bytes/SmallFile.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

using bytes::AtomicFile;
using bytes::readSmallFile;
using platform::Platform;

namespace netupgrade {

namespace {

/** Whatever the umask is. */
constexpr QFile::Permissions markerPermissions =
    QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;

} // namespace

NetMarkerFile::NetMarkerFile(const Platform &platform)
    : m_path(platform.paths.netMarker), m_system(platform.system)
{
}

bool NetMarkerFile::exists() const
{
    const QFileInfo info(m_path);
    return info.exists() || info.isSymLink();
}

std::optional<NetMarker> NetMarkerFile::read() const
{
    return parseNetMarker(readSmallFile(m_path, longestNetMarker).bytes);
}

bool NetMarkerFile::isOwn() const
{
    struct stat status = {};
    return ::lstat(QFile::encodeName(m_path).constData(), &status) == 0 &&
           S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool NetMarkerFile::store(const NetMarker &marker) const
{
    // A new file would get the permissions of an older one, and a link would be followed.
    if (exists() && !isOwn() && !remove())
        return false;
    AtomicFile file(m_path, AtomicFile::Unwritable::Replace);
    return file.open() && QFile::setPermissions(file.temporaryPath(), markerPermissions) &&
           file.write(netMarkerText(marker)) && file.commit();
}

bool NetMarkerFile::remove() const
{
    if (exists() && !QFile::remove(m_path))
        return false;
    m_system.syncFileSystem(QFileInfo(m_path).absolutePath());
    return true;
}

} // namespace netupgrade
