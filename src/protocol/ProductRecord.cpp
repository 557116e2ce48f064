// SPDX-License-Identifier: Apache-2.0
#include "protocol/ProductRecord.h"

#include "protocol/McuFrame.h"

namespace protocol {

namespace {

constexpr int headSize = 16;
constexpr int restLengthOffset = 4;
constexpr int shortHeadSize = 6;
constexpr char modelMarker = 1;
constexpr char auxMarker = 3;

/** Reads bytes in sequence, never beyond their end. */
class Reader
{
public:
    Reader(const QByteArray &bytes, int from) : m_bytes(bytes), m_at(from) {}

    bool atEnd() const { return m_at >= m_bytes.size(); }

    std::optional<quint8> byte()
    {
        if (atEnd())
            return std::nullopt;
        return quint8(m_bytes.at(m_at++));
    }

    std::optional<QByteArray> text(int length)
    {
        if (m_at + length > m_bytes.size())
            return std::nullopt;
        const QByteArray found = m_bytes.mid(m_at, length);
        m_at += length;
        return found;
    }

    std::optional<QByteArray> countedText()
    {
        const auto length = byte();
        return length ? text(*length) : std::nullopt;
    }

private:
    const QByteArray &m_bytes;
    int m_at;
};

std::optional<AuxChip> readAuxChip(Reader &reader)
{
    const auto type = reader.byte();
    const auto quantity = reader.byte();
    const auto name = reader.countedText();
    if (!type || !quantity || !name)
        return std::nullopt;
    return AuxChip{*type, *quantity, *name};
}

bool hasMarkers(const QByteArray &bytes)
{
    return bytes.size() > headSize &&
           headSize + mcu::wordAt(bytes, restLengthOffset) == bytes.size() &&
           bytes.at(headSize) == modelMarker;
}

} // namespace

QByteArray ProductRecord::encode() const
{
    QByteArray bytes(headSize, '\0');
    bytes[0] = char(chipType);
    bytes[1] = char(chipIndex);
    bytes[2] = char(pcbVersion);
    bytes[3] = char(speciality);
    if (model) {
        bytes.append(modelMarker);
        bytes.append(char(model->size()));
        bytes.append(*model);
    }
    if (!auxChips.isEmpty()) {
        QByteArray entries;
        for (const AuxChip &aux : auxChips) {
            entries.append(char(aux.chipType));
            entries.append(char(aux.quantity));
            entries.append(char(aux.name.size()));
            entries.append(aux.name);
        }
        bytes.append(auxMarker);
        bytes.append(char(entries.size()));
        bytes.append(entries);
    }
    const int rest = bytes.size() - headSize;
    bytes[restLengthOffset] = char(rest & 0xFF);
    bytes[restLengthOffset + 1] = char((rest >> 8) & 0xFF);
    return bytes;
}

ProductRecord ProductRecord::decode(const QByteArray &bytes)
{
    ProductRecord record;
    Reader head(bytes, 0);
    record.chipType = head.byte().value_or(0);
    record.chipIndex = head.byte().value_or(0);
    record.pcbVersion = head.byte().value_or(0);
    record.speciality = head.byte().value_or(0);
    if (bytes.size() <= shortHeadSize || mcu::wordAt(bytes, restLengthOffset) == 0)
        return record;

    const bool marked = hasMarkers(bytes);
    Reader rest(bytes, marked ? headSize + 1 : shortHeadSize);
    record.model = marked ? rest.countedText() : rest.text(mcu::wordAt(bytes, restLengthOffset));
    if (!record.model)
        return record;
    if (marked && (rest.byte() != quint8(auxMarker) || !rest.byte()))
        return record;
    while (const auto aux = readAuxChip(rest))
        record.auxChips.append(*aux);
    return record;
}

} // namespace protocol
