// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "bytes/FileStamp.h"

#include <QFile>

namespace bytes {

/** A file on disk, read in place: it is never in memory as a whole. */
class FileSource : public ByteSource
{
public:
    explicit FileSource(const QString &path);

    /** False when the file cannot be read or is not a regular file. */
    bool open();
    QString errorString() const { return m_error; }

    /** The current size of the open file, even if it was renamed or replaced meanwhile. */
    qint64 size() const override;
    /** The current stamp of the open file; all zeros when it is not open. */
    FileStamp stamp() const;
    QByteArray read(qint64 offset, qint64 length) override;
    qint64 readInto(qint64 offset, char *buffer, qint64 length) override;

private:
    QFile m_file;
    QString m_error;
};

} // namespace bytes
