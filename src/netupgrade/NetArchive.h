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

    /** Opens the file and truncates it. A file that another user owns and that may not be written
     *  is replaced if the folder allows it; of a link to such a file only the link is replaced. */
    bool create();
    bool isOpen() const { return m_file.isOpen(); }
    /** Writes all of `bytes` or nothing: after a failure the same bytes can be appended again. */
    bool append(const QByteArray &bytes);
    void close() { m_file.close(); }
    /** Frees the disk space used so far. */
    void clear();
    /** Removes the file, or truncates it if the folder does not allow that. */
    void remove();

private:
    bool open();
    bool removeUnwritable();

    QFile m_file;
};

} // namespace netupgrade
