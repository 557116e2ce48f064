// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSink.h"
#include "bytes/ByteSource.h"
#include "bytes/Crc32.h"
#include "package/ImageRecord.h"

namespace package {

/**
 * Writes a package of the newest version, front to back: the header, then the records, then the
 * checksum into the place that was left for it. The checksum is taken while the bytes pass, so
 * memory does not grow with the package.
 *
 * After the first failure nothing more is written, and what is in the sink is no package.
 */
class PackageWriter
{
public:
    enum class Error {
        None,
        /** The sink took no more: the disk is full, say. */
        WriteFailed,
        /** An image became shorter while it was read, or could not be read at all. */
        ImageCutShort,
        /** An image of 4 GiB or more, which a record cannot tell the length of. */
        ImageTooLarge,
    };

    explicit PackageWriter(bytes::ByteSink &sink);

    /**
     * `jsonLength` is what the header says of the description, in bytes. A reader believes it and
     * not the description itself.
     */
    bool writeHeader(const QByteArray &json, quint16 jsonLength);
    bool writeRecord(const RecordKey &key, bytes::ByteSource &image);
    /** The checksum; the package is complete afterwards. */
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
