// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/AtomicFile.h"
#include "bytes/FileStamp.h"
#include "common/CommandOutcome.h"
#include "package/PackageDescription.h"

#include <QMap>

#include <memory>
#include <optional>

namespace web {

/** The package on the module, as the page shows it. */
struct PackageFacts
{
    bool isPresent = false;
    bytes::FileStamp stamp;
    /** The members of the document; with the problem when devices refuse the package. */
    CommandOutcome outcome;
    package::PackageDescription description;
    /** Of the images in bytes, by chip type. */
    QMap<int, qint64> sizes;
};

/** Reads the whole package twice; for a thread that may wait. */
PackageFacts readPackage(const QString &path);

/** Identity and state of the package's file; none when there is no file. */
std::optional<bytes::FileStamp> stampOf(const QString &path);

/** Free space in the folder of a file, in bytes. */
qint64 freeBeside(const QString &path);

/**
 * A package that is being uploaded: written beside the current one, which stays as it is until
 * finish().
 */
class PackageUpload
{
public:
    /** `size` is the announced length in bytes. */
    PackageUpload(const QString &path, qint64 size);

    /** None, or why the upload cannot begin. */
    ProblemId open();
    /** False when the bytes cannot be written, or are more than announced. */
    bool write(const char *bytes, qint64 size);
    bool isComplete() const { return m_written == m_size; }
    /**
     * Checks the new package, and replaces the current one by it, on the disk. For a thread that
     * may wait. The outcome has the findings, and a problem when nothing was replaced.
     */
    CommandOutcome finish();

private:
    const QString m_path;
    const qint64 m_size;
    qint64 m_written = 0;
    bool m_hasFailed = false;
    bytes::AtomicFile m_file;
};

} // namespace web
