// SPDX-License-Identifier: Apache-2.0
#include "package/ImageRecord.h"

#include "package/PackageLayout.h"
#include "package/RowFields.h"
#include "protocol/ChipTypes.h"

#include <QtEndian>

namespace chip = protocol::chip;
using bytes::ByteSource;

namespace package {

namespace {

constexpr qint64 windowSize = 4096;

bool matches(const RecordKey &record, const RecordKey &wanted, const MatchMask &mask)
{
    if (mask.enables(field::chipType) && record.chipType != wanted.chipType)
        return false;
    // An FPGA is identified by its type alone.
    if (chip::isFpga(wanted.chipType))
        return true;
    if (mask.enables(field::mcuType) && record.mcuType != wanted.mcuType)
        return false;
    if (mask.enables(field::pcbVersion) && record.pcbVersion != wanted.pcbVersion)
        return false;
    return !mask.enables(field::speciality) || record.speciality == wanted.speciality;
}

} // namespace

QByteArray RecordKey::bytes() const
{
    const char all[] = {char(chipType),   char(chipQuantity), char(mcuType), char(pcbVersion),
                        char(speciality), char(ver1),         char(ver2),    char(ver3)};
    static_assert(sizeof all == package::recordKeySize);
    return {all, package::recordKeySize};
}

RecordKey RecordKey::fromBytes(const QByteArray &bytes)
{
    const auto at = [&bytes](int index) {
        return index < bytes.size() ? quint8(bytes.at(index)) : quint8(0);
    };
    return {at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)};
}

bool RecordKey::operator==(const RecordKey &other) const
{
    return bytes() == other.bytes();
}

RecordWalker::RecordWalker(ByteSource &source) : m_source(&source)
{
    const QByteArray length = source.read(package::jsonLengthOffset, package::shortJsonLengthSize);
    if (length.size() < package::shortJsonLengthSize) {
        m_state = State::ShortHeader;
        return;
    }
    m_position = package::jsonOffset + qFromLittleEndian<quint16>(length.constData());
}

RecordWalker::RecordWalker(ByteSource &source, qint64 recordsOffset)
    : m_source(&source), m_position(recordsOffset)
{
}

std::optional<ImageRecord> RecordWalker::next()
{
    if (m_state != State::Walking)
        return std::nullopt;
    const qint64 size = m_source->size();
    if (m_position >= size) {
        // A description that claims to end beyond the file leaves no space for records.
        m_state = m_position == size ? State::End : State::LengthBeyondEnd;
        return std::nullopt;
    }
    const QByteArray header = readHeader();
    if (header.size() < package::recordHeaderSize) {
        m_state = State::ShortHeader;
        return std::nullopt;
    }
    ImageRecord record;
    record.key = RecordKey::fromBytes(header);
    record.headerOffset = m_position;
    record.imageOffset = m_position + package::recordHeaderSize;
    record.length = qFromLittleEndian<quint32>(header.constData() + package::recordKeySize);
    if (record.length > size - record.imageOffset) {
        m_state = State::LengthBeyondEnd;
        return std::nullopt;
    }
    m_position = record.end();
    return record;
}

QByteArray RecordWalker::readHeader()
{
    const qint64 inWindow = m_position - m_windowOffset;
    if (inWindow < 0 || inWindow + package::recordHeaderSize > m_window.size()) {
        m_window = m_source->read(m_position, windowSize);
        m_windowOffset = m_position;
    }
    return m_window.mid(int(m_position - m_windowOffset), package::recordHeaderSize);
}

} // namespace package

std::optional<package::ImageRecord> findImageRecord(ByteSource &source,
                                                    const package::MatchMask &mask, int chipType,
                                                    int mcuType, int pcbVersion, int speciality)
{
    package::RecordKey wanted;
    wanted.chipType = quint8(chipType);
    wanted.mcuType = quint8(mcuType);
    wanted.pcbVersion = quint8(pcbVersion);
    wanted.speciality = quint8(speciality);

    package::RecordWalker walker(source);
    while (const std::optional<package::ImageRecord> record = walker.next()) {
        if (package::matches(record->key, wanted, mask))
            return record;
    }
    return std::nullopt;
}
