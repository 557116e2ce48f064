// SPDX-License-Identifier: Apache-2.0
#include "bytes/FileSource.h"

#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace bytes {

namespace {

qint64 nanoseconds(const timespec &time)
{
    constexpr qint64 perSecond = 1'000'000'000;
    return time.tv_sec * perSecond + time.tv_nsec;
}

} // namespace

FileSource::FileSource(const QString &path) : m_file(path) {}

bool FileSource::open()
{
    // A pipe or a terminal could block without end, and neither has offsets.
    const QFileInfo info(m_file.fileName());
    if (info.exists() && !info.isFile()) {
        m_error = QStringLiteral("Not an ordinary file");
        return false;
    }
    // Callers read large pieces; a buffer would only copy them once more.
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        m_error = m_file.errorString();
        return false;
    }
    return true;
}

qint64 FileSource::size() const
{
    return stamp().size;
}

FileStamp FileSource::stamp() const
{
    struct stat status = {};
    if (::fstat(m_file.handle(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

QByteArray FileSource::read(qint64 offset, qint64 length)
{
    // No memory is allocated beyond the end of the file, whatever a length field claims.
    const qint64 there = std::min({length, size() - offset, qint64(1) << 30});
    if (offset < 0 || there <= 0)
        return {};
    QByteArray bytes(int(there), Qt::Uninitialized);
    bytes.resize(int(readInto(offset, bytes.data(), there)));
    return bytes;
}

qint64 FileSource::readInto(qint64 offset, char *buffer, qint64 length)
{
    if (offset < 0 || length <= 0)
        return 0;
    qint64 done = 0;
    while (done < length) {
        const ssize_t count =
            ::pread(m_file.handle(), buffer + done, size_t(length - done), off_t(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count == 0)
            errno = 0;
        if (count <= 0)
            break;
        done += count;
    }
    return done;
}

} // namespace bytes
