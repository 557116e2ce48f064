// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

namespace netupgrade {

/** The archive file while it is being written. */
class NetArchive
{
public:
    explicit NetArchive(const QString &path) : m_file(path) {}

    /** Opens the file and empties it. One that belongs to another user and may not be written is
     *  replaced where the folder allows that, and so is a link to such a file: the file that it
     *  leads to stays as it is. */
    bool create();
    bool isOpen() const { return m_file.isOpen(); }
    /** Writes all of `bytes` or nothing: after a failure the same bytes can be appended again. */
    bool append(const QByteArray &bytes);
    void close() { m_file.close(); }
    /** Gives the room back that was taken so far. */
    void clear();
    /** Leaves no file, or an empty one where the folder does not allow that. */
    void remove();

private:
    bool open();
    bool removeUnwritable();

    QFile m_file;
};

} // namespace netupgrade
