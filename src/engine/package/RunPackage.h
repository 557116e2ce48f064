// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/VerifiedSource.h"
#include "engine/package/PackageFile.h"
#include "signing/Verdict.h"

#include <optional>

namespace engine {

/**
 * The open package of a run. It is opened and checked once, and the run reads only from that file,
 * even if it is renamed or replaced meanwhile. A change of its content is detected when the changed
 * bytes are read: every read fails from then on, and fault() says why.
 */
class RunPackage
{
public:
    using Fault = bytes::VerifiedSource::Fault;

    /** The keys are read from this folder whenever a package is opened. */
    explicit RunPackage(const QString &keyFolder);

    /** Closes the previous package. A package that could not be read to its end is Wrong, and has a
     *  fault. */
    PackageCheck open(const QString &path);
    void close();

    /** Whether the keys allow the use of the package, whose checksum must be right. */
    const signing::Verdict &trust() const { return m_trust; }

    /** The checked package; empty when none is open. Valid until the next open() or close(). */
    bytes::ByteSource &source();
    Fault fault() const;
    bool isFaulty() const { return fault() != Fault::None; }
    /** The value of errno of a read error, or 0. */
    int error() const;

private:
    const QString m_keyFolder;
    signing::Verdict m_trust;
    std::optional<bytes::FileSource> m_file;
    std::optional<bytes::VerifiedSource> m_verified;
    bytes::BytesSource m_nothing{QByteArray()};
    int m_checkError = 0;
};

} // namespace engine
