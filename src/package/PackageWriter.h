// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSink.h"
#include "bytes/ByteSource.h"
#include "bytes/Crc32.h"
#include "package/ImageRecord.h"

namespace package {

/**
 * Writes a package of the newest version in sequence: the header, the records, then the checksum
 * into its reserved place. The checksum is computed while writing, so memory does not grow with the
 * package.
 *
 * After the first failure nothing more is written, and the sink does not hold a valid package.
 */
class PackageWriter
{
public:
    enum class Error {
        None,
        /** The sink failed, for example on a full disk. */
        WriteFailed,
        /** An image became shorter while it was read, or could not be read at all. */
        ImageCutShort,
        /** An image of 4 GiB or more, too long for the length field of a record. */
        ImageTooLarge,
    };

    explicit PackageWriter(bytes::ByteSink &sink);

    /**
     * `jsonLength` is the header's length of the description, in bytes. Readers use it and not the
     * description's actual length.
     */
    bool writeHeader(const QByteArray &json, quint16 jsonLength);
    bool writeRecord(const RecordKey &key, bytes::ByteSource &image);
    /** Writes the checksum; the package is complete afterwards. */
    bool finish();

    Error error() const { return m_error; }

private:
    bool put(const char *bytes, qint64 size);
    bool put(const QByteArray &bytes) { return put(bytes.constData(), bytes.size()); }
    bool fail(Error error);

    bytes::ByteSink *m_sink;
    bytes::Crc32 m_crc;
    Error m_error = Error::None;
};

} // namespace package
