// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "package/MatchMask.h"

#include <optional>

namespace package {

/** The bytes that say which chip an image is for, in the order in which a record has them. */
struct RecordKey
{
    /** As rows have it: 0 is the main MCU, 32 the network module. */
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
 * Goes through the image records of a package, reading their headers only. It ends where the
 * package ends, and early at a record that is not all there.
 */
class RecordWalker
{
public:
    enum class State {
        Walking,
        /** The last record ended exactly where the file does. */
        End,
        /** A few bytes are left, too few for a header. */
        ShortHeader,
        /** A record claims more bytes than the file has. */
        LengthBeyondEnd,
    };

    /**
     * From behind the description, whose 16-bit length is read from its place whatever version the
     * package has.
     */
    explicit RecordWalker(bytes::ByteSource &source);
    /** From a known offset on. */
    RecordWalker(bytes::ByteSource &source, qint64 recordsOffset);

    std::optional<ImageRecord> next();

    State state() const { return m_state; }
    /** Of the next record, or of what ended the walk. */
    qint64 position() const { return m_position; }

private:
    QByteArray readHeader();

    bytes::ByteSource *m_source;
    qint64 m_position = 0;
    State m_state = State::Walking;
    /** A small piece of the file, so that a long row of tiny records is not read one by one. */
    QByteArray m_window;
    qint64 m_windowOffset = 0;
};

} // namespace package

/**
 * The first record for a chip, of which the mask says what must be equal. FPGAs and the network
 * module (types above 16) are told by their type alone. A record of length 0 is found like any
 * other: a package without the image, to the caller.
 */
std::optional<package::ImageRecord> findImageRecord(bytes::ByteSource &source,
                                                    const package::MatchMask &mask, int chipType,
                                                    int mcuType, int pcbVersion, int speciality);
