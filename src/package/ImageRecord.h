// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "package/MatchMask.h"

#include <optional>

namespace package {

/** The bytes that identify the chip of an image, in the order of a record. */
struct RecordKey
{
    /** As in rows: 0 is the main MCU, 32 the network module. */
    quint8 chipType = 0;
    quint8 chipQuantity = 0;
    quint8 mcuType = 0;
    quint8 pcbVersion = 0;
    /** A character code. */
    quint8 speciality = 0;
    quint8 ver1 = 0;
    quint8 ver2 = 0;
    quint8 ver3 = 0;

    QByteArray bytes() const;
    /** Missing bytes count as 0. */
    static RecordKey fromBytes(const QByteArray &bytes);

    bool operator==(const RecordKey &other) const;
    bool operator!=(const RecordKey &other) const { return !(*this == other); }
};

struct ImageRecord
{
    RecordKey key;
    qint64 headerOffset = 0;
    qint64 imageOffset = 0;
    qint64 length = 0;

    qint64 end() const { return imageOffset + length; }
};

/**
 * Iterates over the image records of a package, reading their headers only. It ends at the end of
 * the package, or earlier at an incomplete record.
 */
class RecordWalker
{
public:
    enum class State {
        Walking,
        /** The last record ended at the end of the file. */
        End,
        /** The remaining bytes are too few for a header. */
        ShortHeader,
        /** A record claims more bytes than the file has. */
        LengthBeyondEnd,
    };

    /** Starts after the description, whose length is read as 16 bits for every package version. */
    explicit RecordWalker(bytes::ByteSource &source);
    /** Starts at a known offset. */
    RecordWalker(bytes::ByteSource &source, qint64 recordsOffset);

    std::optional<ImageRecord> next();

    State state() const { return m_state; }
    /** The offset of the next record, or of what ended the walk. */
    qint64 position() const { return m_position; }

private:
    QByteArray readHeader();

    bytes::ByteSource *m_source;
    qint64 m_position = 0;
    State m_state = State::Walking;
    /** A small piece of the file, so that many tiny records are not read one by one. */
    QByteArray m_window;
    qint64 m_windowOffset = 0;
};

} // namespace package

/**
 * The first record whose key is equal in the fields that the mask enables. FPGAs and the network
 * module (types above 16) are identified by their type alone. A record of length 0 is returned,
 * too; to the caller the package has no such image.
 */
std::optional<package::ImageRecord> findImageRecord(bytes::ByteSource &source,
                                                    const package::MatchMask &mask, int chipType,
                                                    int mcuType, int pcbVersion, int speciality);
