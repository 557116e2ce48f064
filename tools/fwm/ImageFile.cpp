// SPDX-License-Identifier: Apache-2.0
#include "fwm/ImageFile.h"

#include "platform/Platform.h"

using bytes::BytesSource;

namespace {

constexpr qint64 formSize = 256;
/** A text form has more than two digits for each byte; both are in memory while they are read. */
constexpr qint64 longestText = qint64{256} * 1024 * 1024;
/** What an erased flash has. */
constexpr char gapFill = '\xff';

ImageFile::Conversion conversionOf(HexForm form, const HexText &text)
{
    ImageFile::Conversion conversion;
    conversion.form = form;
    conversion.baseAddress = text.baseAddress();
    for (int i = 1; i < text.segments.size(); ++i) {
        const qint64 start = text.segments.at(i - 1).end();
        if (conversion.gapCount++ == 0)
            conversion.firstGap = quint32(start);
        conversion.gapBytes += text.segments.at(i).address - start;
    }
    return conversion;
}

} // namespace

ImageFile::ImageFile(const QString &path) : m_file(path), m_bytes(&m_file) {}

std::optional<Problem> ImageFile::open()
{
    if (!m_file.open())
        return Problem{ProblemId::ImageUnreadable, m_file.errorString()};
    const HexForm form = hexFormOf(m_file.read(0, formSize));
    return form == HexForm::None ? std::nullopt : convert(form);
}

std::optional<Problem> ImageFile::convert(HexForm form)
{
    const auto invalid = [form](const QString &detail) {
        return Problem{ProblemId::HexInvalid, hexFormText(form) + QStringLiteral(", ") + detail};
    };
    if (m_file.size() > longestText)
        return invalid(QStringLiteral("longer than %1 bytes").arg(longestText));
    const HexText text = parseHexText(m_file.read(0, m_file.size()));
    if (!text.error.isEmpty())
        return invalid(QStringLiteral("line %1: %2").arg(text.line).arg(text.error));
    const qint64 longest = platform::Limits().image;
    if (text.imageSize() > longest) {
        Problem spread = invalid(QStringLiteral("its data spans %1 bytes from its first address to "
                                                "its last one; an image has %2 at most")
                                     .arg(text.imageSize())
                                     .arg(longest));
        spread.advice = QStringLiteral("Leave out what is not part of this flash, such as option "
                                       "bytes.");
        return spread;
    }
    m_conversion = conversionOf(form, text);
    m_converted = std::make_unique<BytesSource>(text.image(gapFill));
    m_bytes = m_converted.get();
    return std::nullopt;
}
