// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/ByteSink.h"

#include <QSaveFile>

/**
 * A file that appears whole or not at all: it is written beside its name, brought to the disk and
 * then renamed. Until commit() an older file of that name stays as it is, and without commit()
 * (a failure, a full disk) nothing is left behind.
 */
class AtomicFile : public ByteSink
{
public:
    using ByteSink::write;

    explicit AtomicFile(const QString &path);

    /** False when no file can be made there, or when something else than a file has the name. */
    bool open();
    bool write(const char *bytes, qint64 size) override;
    bool overwrite(qint64 offset, const QByteArray &bytes) override;
    /** False when not every byte reached the disk; then there is no new file. */
    bool commit();

    QString errorString() const { return m_error; }

private:
    bool fail(const QString &error);

    QSaveFile m_file;
    QString m_error;
};
