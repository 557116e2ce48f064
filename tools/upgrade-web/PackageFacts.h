// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/AtomicFile.h"
#include "bytes/FileStamp.h"
#include "common/CommandOutcome.h"
#include "fwm/SignatureReport.h"
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
    /** With the digest that a signature covers, without the chunks. */
    package::PackageChecksum checksum;
};

/** Reads the whole package twice; for a thread that may wait. */
PackageFacts readPackage(const QString &path);

/** Adds the member `signature`, and the problem of a package that the keys do not accept. */
void addSignature(CommandOutcome &outcome, SignatureReport report,
                  const package::PackageChecksum &checksum);

/** Identity and state of the package's file; none when there is no file. */
std::optional<bytes::FileStamp> stampOf(const QString &path);

/** Free space in the folder of a file, in bytes. */
qint64 freeBeside(const QString &path);

/**
 * A package that is being uploaded, after its signature file if it has one: written beside the
 * current one, which stays as it is until finish().
 */
class PackageUpload
{
public:
    /** `size` is the announced length in bytes, of which the first `signatureSize` are the
     *  signature file. */
    PackageUpload(const SignatureFiles &files, qint64 size, qint64 signatureSize);

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
    bool publish();
    bool storeSignature(const bytes::SmallFile &signature);

    const SignatureFiles m_files;
    const qint64 m_size;
    const qint64 m_signatureSize;
    /** As far as it has arrived; absent for a package without one. */
    bytes::SmallFile m_signature;
    qint64 m_written = 0;
    bool m_hasFailed = false;
    bytes::AtomicFile m_file;
    QString m_error;
};

} // namespace web
