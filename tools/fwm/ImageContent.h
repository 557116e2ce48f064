// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

/** What an image is, as far as its bytes show it. */
enum class ImageContent {
    /** Nothing speaks against it. */
    Firmware,
    /** Files that linkers write beside the bytes for a chip's flash. */
    Elf,
    IntelHex,
    SRecord,
    /** Every byte is 0x00, or 0xFF as in an erased flash. */
    AllZeros,
    AllOnes,
};

/** Recognises the content of an image that passes by in pieces. */
class ImageContentDetector
{
public:
    void add(const char *bytes, qint64 size);
    ImageContent content() const;

private:
    QByteArray m_beginning;
    bool m_hasOtherThanZeros = false;
    bool m_hasOtherThanOnes = false;
};
