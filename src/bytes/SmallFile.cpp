// SPDX-License-Identifier: Apache-2.0
#include "bytes/SmallFile.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace bytes {

namespace {

bool isRegularUpTo(int descriptor, qint64 limit)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= limit;
}

} // namespace

SmallFile readSmallFile(const QString &path, qint64 limit)
{
    return readSmallFile(AT_FDCWD, QFile::encodeName(path).constData(), limit);
}

SmallFile readSmallFile(int folder, const char *name, qint64 limit)
{
    // Opening a FIFO that nothing writes to would block without O_NONBLOCK.
    const int descriptor = ::openat(folder, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        struct stat link = {};
        const bool isAbsent = errno == ENOENT &&
                              ::fstatat(folder, name, &link, AT_SYMLINK_NOFOLLOW) != 0 &&
                              errno == ENOENT;
        return {isAbsent ? SmallFile::State::Absent : SmallFile::State::Unusable, {}};
    }
    QFile file;
    file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered,
              QFileDevice::AutoCloseHandle);
    if (!isRegularUpTo(descriptor, limit))
        return {SmallFile::State::Unusable, {}};
    // The file may have grown since.
    const QByteArray bytes = file.read(limit + 1);
    if (file.error() != QFileDevice::NoError || bytes.size() > limit)
        return {SmallFile::State::Unusable, {}};
    return {SmallFile::State::Complete, bytes};
}

} // namespace bytes
