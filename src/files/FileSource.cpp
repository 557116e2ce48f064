// SPDX-License-Identifier: Apache-2.0
#include "files/FileSource.h"

#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <unistd.h>

FileSource::FileSource(const QString &path) : m_file(path) {}

bool FileSource::open()
{
    // A pipe or a terminal would block for ever, and neither has offsets.
    const QFileInfo info(m_file.fileName());
    if (info.exists() && !info.isFile()) {
        m_error = QStringLiteral("Not an ordinary file");
        return false;
    }
    // Whoever reads asks for large pieces; a second buffer would only copy them once more.
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        m_error = m_file.errorString();
        return false;
    }
    return true;
}

qint64 FileSource::size() const
{
    return m_file.size();
}

QByteArray FileSource::read(qint64 offset, qint64 length)
{
    // Nothing is allocated for bytes that are not there, whatever a length field claims.
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
    ssize_t count = 0;
    do {
        count = ::pread(m_file.handle(), buffer, size_t(length), off_t(offset));
    } while (count < 0 && errno == EINTR);
    return std::max<qint64>(count, 0);
}
