// SPDX-License-Identifier: Apache-2.0
#include "fwm/ImageContent.h"

#include "fwm/HexText.h"

#include <algorithm>

namespace {

/** Enough for the first line of a text form. */
constexpr int beginningSize = 256;
constexpr char elfMagic[] = "\x7f"
                            "ELF";

bool hasOtherThan(char value, const char *bytes, qint64 size)
{
    return std::any_of(bytes, bytes + size, [value](char byte) { return byte != value; });
}

} // namespace

void ImageContentDetector::add(const char *bytes, qint64 size)
{
    const qint64 wanted = std::min(size, qint64{beginningSize} - m_beginning.size());
    m_beginning.append(bytes, int(wanted));
    m_hasOtherThanZeros = m_hasOtherThanZeros || hasOtherThan('\0', bytes, size);
    m_hasOtherThanOnes = m_hasOtherThanOnes || hasOtherThan('\xff', bytes, size);
}

ImageContent ImageContentDetector::content() const
{
    if (m_beginning.isEmpty())
        return ImageContent::Firmware;
    if (!m_hasOtherThanZeros)
        return ImageContent::AllZeros;
    if (!m_hasOtherThanOnes)
        return ImageContent::AllOnes;
    if (m_beginning.startsWith(elfMagic))
        return ImageContent::Elf;
    switch (hexFormOf(m_beginning)) {
    case HexForm::IntelHex:
        return ImageContent::IntelHex;
    case HexForm::SRecord:
        return ImageContent::SRecord;
    case HexForm::None:
        break;
    }
    return ImageContent::Firmware;
}
