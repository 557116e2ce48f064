// SPDX-License-Identifier: Apache-2.0
#include "package/PackageHeader.h"

#include "package/PackageLayout.h"

#include <QtEndian>

using bytes::ByteSource;

namespace package {

namespace {

bool hasMagicAt(const QByteArray &bytes, int offset)
{
    return bytes.mid(offset, package::magicSize) == package::magic;
}

int bigEndian16(const QByteArray &bytes, int offset)
{
    return qFromBigEndian<quint16>(bytes.constData() + offset);
}

PackageHeader readBareHeader(const QByteArray &head)
{
    PackageHeader header;
    header.form = PackageHeader::Form::Bare;
    header.error = PackageHeader::Error::BadHead;
    if (head.size() < package::bareHeadSize)
        return header;
    header.error = PackageHeader::Error::None;
    header.version = bigEndian16(head, package::bareVersionOffset);
    header.jsonOffset = package::bareHeadSize;
    header.jsonLength =
        qFromLittleEndian<quint32>(head.constData() + package::bareJsonLengthOffset);
    return header;
}

PackageHeader readCurrentHeader(ByteSource &source, const QByteArray &head)
{
    PackageHeader header;
    header.form = PackageHeader::Form::Current;
    header.error = PackageHeader::Error::BadHead;
    const std::optional<int> version = currentFormVersion(head);
    if (!version)
        return header;
    header.version = *version;
    if (header.version < package::longJsonVersion || header.version > package::newestVersion)
        return header;

    const bool isLong = header.version == package::longJsonVersion;
    const int lengthSize = isLong ? package::longJsonLengthSize : package::shortJsonLengthSize;
    const QByteArray length = source.read(package::jsonLengthOffset, lengthSize);
    if (length.size() < lengthSize)
        return header;
    header.error = PackageHeader::Error::None;
    header.jsonOffset = package::jsonLengthOffset + lengthSize;
    header.jsonLength = isLong ? qint64(qFromLittleEndian<quint32>(length.constData()))
                               : qint64(qFromLittleEndian<quint16>(length.constData()));
    return header;
}

} // namespace

PackageHeader readPackageHeader(ByteSource &source)
{
    const QByteArray head = source.read(0, package::headSize);
    if (isBareForm(head))
        return readBareHeader(head);
    if (hasMagicAt(head, package::magicOffset))
        return readCurrentHeader(source, head);
    return {};
}

std::optional<int> currentFormVersion(const QByteArray &first13)
{
    if (first13.size() < package::headSize || !hasMagicAt(first13, package::magicOffset))
        return std::nullopt;
    return bigEndian16(first13, package::versionOffset);
}

bool isBareForm(const QByteArray &first)
{
    return first.startsWith(package::magic);
}

QByteArray readDescription(ByteSource &source, const PackageHeader &header)
{
    if (header.error != PackageHeader::Error::None ||
        header.jsonLength > package::longestDescription)
        return {};
    return source.read(header.jsonOffset, header.jsonLength);
}

} // namespace package
