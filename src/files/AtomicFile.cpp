// SPDX-License-Identifier: Apache-2.0
#include "files/AtomicFile.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

/** So that the new name survives a power cut. There is nothing to be done where it fails. */
void syncFolder(const QString &path)
{
    const int folder =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return;
    ::fsync(folder);
    ::close(folder);
}

} // namespace

AtomicFile::AtomicFile(const QString &path) : m_file(path) {}

bool AtomicFile::open()
{
    // Renaming onto a device node would take its place.
    const QFileInfo info(m_file.fileName());
    if (info.exists() && !info.isFile())
        return fail(QStringLiteral("Not an ordinary file"));
    // QSaveFile does not notice when the last of its buffer cannot be written.
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return fail(m_file.errorString());
    return true;
}

bool AtomicFile::write(const char *bytes, qint64 size)
{
    // A disk that fills up takes a part first and says why with the rest.
    while (size > 0) {
        const qint64 count = m_file.write(bytes, size);
        if (count <= 0)
            return fail(m_file.errorString());
        bytes += count;
        size -= count;
    }
    return true;
}

bool AtomicFile::overwrite(qint64 offset, const QByteArray &bytes)
{
    const qint64 end = m_file.pos();
    if (!m_file.seek(offset))
        return fail(m_file.errorString());
    return write(bytes.constData(), bytes.size()) &&
           (m_file.seek(end) || fail(m_file.errorString()));
}

bool AtomicFile::commit()
{
    // Some disks are only found full here, and QSaveFile's own call goes unchecked.
    if (m_error.isEmpty() && ::fsync(m_file.handle()) != 0)
        fail(qt_error_string(errno));
    if (!m_error.isEmpty())
        m_file.cancelWriting();
    if (!m_file.commit())
        return fail(m_error.isEmpty() ? m_file.errorString() : m_error);
    syncFolder(QFileInfo(m_file.fileName()).absolutePath());
    return true;
}

bool AtomicFile::fail(const QString &error)
{
    // The first failure is the reason for those that follow.
    if (m_error.isEmpty())
        m_error = error;
    return false;
}
