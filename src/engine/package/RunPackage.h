// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/VerifiedSource.h"
#include "engine/package/PackageFile.h"

#include <optional>

namespace engine {

/**
 * The one open file of a run. It is opened and checked once, and everything that the run reads
 * comes from that file, whatever has its name meanwhile. A change within the file is found when
 * the changed bytes are read: then nothing more can be read, and fault() says why.
 */
class RunPackage
{
public:
    using Fault = bytes::VerifiedSource::Fault;

    /** Closes what was open before. A package that could not be read to its end is Wrong, and has
     *  a fault. */
    PackageCheck open(const QString &path);
    void close();

    /** The package as it was checked; without an open one it has no bytes. Valid until the next
     *  open() or close(). */
    bytes::ByteSource &source();
    Fault fault() const;
    bool isFaulty() const { return fault() != Fault::None; }
    /** The value of errno of a read error, or 0. */
    int error() const;

private:
    std::optional<bytes::FileSource> m_file;
    std::optional<bytes::VerifiedSource> m_verified;
    bytes::BytesSource m_nothing{QByteArray()};
    int m_checkError = 0;
};

} // namespace engine
