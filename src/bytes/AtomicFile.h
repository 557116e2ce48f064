// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSink.h"

#include <QFile>
#include <QString>

#include <functional>

namespace bytes {

/**
 * A file that appears whole or not at all: it is written beside its name, brought to the disk and
 * then renamed. Until commit() an older file of that name stays as it is, and without commit()
 * (a failure, a full disk) nothing is left behind. Where the name is a symbolic link, the file that
 * it leads to is replaced.
 */
class AtomicFile : public ByteSink
{
public:
    using ByteSink::write;

    /** What becomes of an older file that this user may not write, in a folder that he may. */
    enum class Unwritable {
        /** open() fails. */
        Keep,
        /** It is replaced; a link to a file in a folder that may not be written is, too. */
        Replace,
    };
    /** Brings an open file or folder to the disk, as fsync(2) does. */
    using Sync = std::function<int(int descriptor)>;

    explicit AtomicFile(const QString &path, Unwritable unwritable = Unwritable::Keep);
    AtomicFile(const QString &path, Unwritable unwritable, Sync sync);
    ~AtomicFile() override;
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    /** False when no file can be made there, or when something else than a file has the name. */
    bool open();
    bool write(const char *bytes, qint64 size) override;
    bool overwrite(qint64 offset, const QByteArray &bytes) override;
    /** False when not every byte reached the disk; then there is no new file. */
    bool commit();

    QString errorString() const { return m_error; }

private:
    bool followLinks();
    bool createBeside();
    void syncFolder() const;
    void removeNew();
    bool fail(const QString &error);

    /** Where the file is to appear; links are resolved by open(). */
    QString m_path;
    const Unwritable m_unwritable;
    const Sync m_sync;
    /** The name under which it is written. Empty before open() and after commit(). */
    QByteArray m_newName;
    QFile m_file;
    QString m_error;
};

} // namespace bytes
