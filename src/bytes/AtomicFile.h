// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSink.h"

#include <QFile>
#include <QString>

#include <functional>

namespace bytes {

/**
 * A file that appears complete or not at all: it is written under a temporary name, synced to the
 * disk and then renamed. Until commit() an older file of that name stays as it is, and without
 * commit() (a failure, a full disk) no file remains. Where the name is a symbolic link, the file
 * that it leads to is replaced.
 */
class AtomicFile : public ByteSink
{
public:
    using ByteSink::write;

    /** What happens to an older file that this user may not write, in a folder that is writable. */
    enum class Unwritable {
        /** open() fails. */
        Keep,
        /** It is replaced; a link to a file in a folder that may not be written is, too. */
        Replace,
    };
    /** Syncs an open file or folder to the disk, as fsync(2) does. */
    using Sync = std::function<int(int descriptor)>;

    explicit AtomicFile(const QString &path, Unwritable unwritable = Unwritable::Keep);
    AtomicFile(const QString &path, Unwritable unwritable, Sync sync);
    ~AtomicFile() override;
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    /** False when the file cannot be created, or when the name is not that of a file. */
    bool open();
    bool write(const char *bytes, qint64 size) override;
    bool overwrite(qint64 offset, const QByteArray &bytes) override;
    /** False when not every byte reached the disk; then there is no new file. */
    bool commit();

    /** Where the bytes written so far can be read; empty before open() and after commit(). */
    QString temporaryPath() const { return QFile::decodeName(m_newName); }
    QString errorString() const { return m_error; }

private:
    bool followLinks();
    bool createBeside();
    void syncFolder() const;
    void removeNew();
    bool fail(const QString &error);

    /** The final name; open() resolves links. */
    QString m_path;
    const Unwritable m_unwritable;
    const Sync m_sync;
    /** The temporary name. Empty before open() and after commit(). */
    QByteArray m_newName;
    QFile m_file;
    QString m_error;
};

} // namespace bytes
