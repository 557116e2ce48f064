// SPDX-License-Identifier: Apache-2.0
#include "bytes/AtomicFile.h"

#include <QFileInfo>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace bytes {

namespace {

constexpr int longestChainOfLinks = 40;
/** Before the umask is applied. */
constexpr mode_t newFile = 0666;
constexpr mode_t permissionBits = 0777;

QString folderOf(const QString &path)
{
    return QFileInfo(path).absolutePath();
}

/** A name beside the file that no other process and no other object of this one uses. */
QByteArray nameBeside(const QByteArray &path)
{
    static std::atomic<int> count{0};
    return path + '.' + QByteArray::number(::getpid()) + '-' + QByteArray::number(++count);
}

} // namespace

AtomicFile::AtomicFile(const QString &path, Unwritable unwritable)
    : AtomicFile(path, unwritable, ::fsync)
{
}

AtomicFile::AtomicFile(const QString &path, Unwritable unwritable, Sync sync)
    : m_path(path), m_unwritable(unwritable), m_sync(std::move(sync))
{
}

AtomicFile::~AtomicFile()
{
    removeNew();
}

bool AtomicFile::open()
{
    if (!followLinks())
        return false;
    // Renaming onto a device node would replace it.
    const QFileInfo info(m_path);
    if (info.exists() && !info.isFile())
        return fail(QStringLiteral("Not an ordinary file"));
    if (info.exists() && !info.isWritable() && m_unwritable == Unwritable::Keep)
        return fail(QStringLiteral("Existing file %1 is not writable").arg(m_path));
    return createBeside();
}

/** Link by link, since the last one may name a file that does not exist yet. */
bool AtomicFile::followLinks()
{
    QString target = m_path;
    for (int i = 0; QFileInfo(target).isSymLink(); ++i) {
        if (i == longestChainOfLinks)
            return fail(qt_error_string(ELOOP));
        target = QFileInfo(target).symLinkTarget();
    }
    if (m_unwritable == Unwritable::Keep || QFileInfo(folderOf(target)).isWritable())
        m_path = target;
    return true;
}

bool AtomicFile::createBeside()
{
    const QByteArray path = QFile::encodeName(m_path);
    int descriptor = -1;
    do {
        m_newName = nameBeside(path);
        descriptor =
            ::open(m_newName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, newFile);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0) {
        m_newName.clear();
        return fail(qt_error_string(errno));
    }
    struct stat old = {};
    if (::stat(path.constData(), &old) == 0)
        ::fchmod(descriptor, old.st_mode & permissionBits);
    // Unbuffered, so that a full disk is reported by the write that hits it.
    return m_file.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered,
                       QFileDevice::AutoCloseHandle) ||
           fail(m_file.errorString());
}

bool AtomicFile::write(const char *bytes, qint64 size)
{
    // On a full disk the first write is short, and the next one reports the error.
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
    // Some file systems report a full disk only here.
    if (m_error.isEmpty() && m_sync(m_file.handle()) != 0)
        fail(qt_error_string(errno));
    m_file.close();
    if (m_error.isEmpty() &&
        std::rename(m_newName.constData(), QFile::encodeName(m_path).constData()) != 0)
        fail(qt_error_string(errno));
    if (!m_error.isEmpty()) {
        removeNew();
        return false;
    }
    m_newName.clear();
    syncFolder();
    return true;
}

/** Makes the new name survive a power cut. A failure is ignored. */
void AtomicFile::syncFolder() const
{
    const int folder =
        ::open(QFile::encodeName(folderOf(m_path)).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return;
    m_sync(folder);
    ::close(folder);
}

void AtomicFile::removeNew()
{
    m_file.close();
    if (!m_newName.isEmpty())
        ::unlink(m_newName.constData());
    m_newName.clear();
}

bool AtomicFile::fail(const QString &error)
{
    // Later failures follow from the first one.
    if (m_error.isEmpty())
        m_error = error;
    return false;
}

} // namespace bytes
