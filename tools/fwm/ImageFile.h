// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/FileSource.h"
#include "common/Problems.h"
#include "fwm/HexText.h"

#include <memory>
#include <optional>

/**
 * A file with an image: its bytes or, for an Intel HEX or S-record file, those that the file places
 * in a flash, from its lowest address on and with 0xFF in the gaps.
 */
class ImageFile
{
public:
    /** What a text form was turned into. */
    struct Conversion
    {
        HexForm form = HexForm::None;
        quint32 baseAddress = 0;
        int gapCount = 0;
        /** Of all gaps together, in bytes. */
        qint64 gapBytes = 0;
        quint32 firstGap = 0;
    };

    explicit ImageFile(const QString &path);

    /** Why there is no image; the detail leaves out the name of the file. */
    std::optional<Problem> open();
    bytes::ByteSource &bytes() { return *m_bytes; }
    /** Empty for a binary file. */
    const std::optional<Conversion> &conversion() const { return m_conversion; }

private:
    std::optional<Problem> convert(HexForm form);

    bytes::FileSource m_file;
    bytes::ByteSource *m_bytes;
    std::unique_ptr<bytes::BytesSource> m_converted;
    std::optional<Conversion> m_conversion;
};
