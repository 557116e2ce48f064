// SPDX-License-Identifier: Apache-2.0
#include "fwm/HexText.h"

#include <QtEndian>

#include <algorithm>
#include <numeric>

namespace {

constexpr int radix16 = 16;
constexpr qint64 addressEnd = qint64{1} << 32;

bool isHexDigit(char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'F') ||
           (byte >= 'a' && byte <= 'f');
}

quint8 sumOf(const QByteArray &bytes)
{
    return quint8(std::accumulate(bytes.begin(), bytes.end(), 0, [](int sum, char byte) {
        return sum + static_cast<unsigned char>(byte);
    }));
}

quint32 bigEndian(const QByteArray &bytes)
{
    quint32 value = 0;
    for (const char byte : bytes)
        value = (value << 8U) | static_cast<unsigned char>(byte);
    return value;
}

QString addressText(qint64 address)
{
    constexpr int digits = 8;
    return QStringLiteral("0x%1").arg(address, digits, radix16, QLatin1Char('0'));
}

/** What both forms have in common: lines of hexadecimal bytes that end with a checksum. */
class Reader
{
public:
    explicit Reader(const QByteArray &text) : m_text(text) {}
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;
    virtual ~Reader() = default;

    HexText read();

protected:
    /** One line without its end; sets an error, adds data, or notes the end. */
    virtual void readLine(const QByteArray &line) = 0;

    void fail(const QString &error) { m_error = error; }
    /** A part of the file that is missing would have been noticed. */
    void noteComplete() { m_isComplete = true; }
    void noteEnd() { m_isComplete = m_isEnded = true; }
    void addData(qint64 address, const QByteArray &data);
    /** The bytes of a line from `start` on; fails for anything else. */
    QByteArray bytesOf(const QByteArray &line, int start);

private:
    bool join();

    const QByteArray &m_text;
    QString m_error;
    bool m_isComplete = false;
    bool m_isEnded = false;
    int m_line = 0;
    struct Piece
    {
        quint32 address;
        int line;
        QByteArray bytes;
    };
    QVector<Piece> m_pieces;
    QVector<HexSegment> m_segments;
};

HexText Reader::read()
{
    for (int start = 0; start < m_text.size() && m_error.isEmpty();) {
        const int newline = m_text.indexOf('\n', start);
        const int end = newline < 0 ? m_text.size() : newline;
        const QByteArray line = m_text.mid(start, end - start).trimmed();
        ++m_line;
        start = end + 1;
        if (line.isEmpty())
            continue;
        if (m_isEnded)
            fail(QStringLiteral("there is a line after the end record"));
        else
            readLine(line);
    }
    if (m_error.isEmpty() && !m_isComplete)
        fail(QStringLiteral("the end record is missing; the file is cut short"));
    if (m_error.isEmpty() && m_pieces.isEmpty())
        fail(QStringLiteral("there is no data in it"));
    if (!m_error.isEmpty() || !join())
        return {m_error, m_line, {}};
    return {{}, 0, m_segments};
}

QByteArray Reader::bytesOf(const QByteArray &line, int start)
{
    const QByteArray digits = line.mid(start);
    const auto *const wrong =
        std::find_if(digits.begin(), digits.end(), [](char one) { return !isHexDigit(one); });
    if (wrong != digits.end())
        fail(QStringLiteral("'%1' is not a hexadecimal digit").arg(QLatin1Char(*wrong)));
    else if (digits.isEmpty())
        fail(QStringLiteral("the line has no bytes"));
    else if (digits.size() % 2 != 0)
        fail(QStringLiteral("the number of hexadecimal digits is odd"));
    else
        return QByteArray::fromHex(digits);
    return {};
}

void Reader::addData(qint64 address, const QByteArray &data)
{
    if (address + data.size() > addressEnd)
        fail(QStringLiteral("the data ends after the address 0xffffffff"));
    else if (!data.isEmpty())
        m_pieces.append({quint32(address), m_line, data});
}

/** Puts the pieces in order and joins those that touch; false when two of them overlap. */
bool Reader::join()
{
    std::stable_sort(m_pieces.begin(), m_pieces.end(),
                     [](const Piece &a, const Piece &b) { return a.address < b.address; });
    for (const Piece &piece : qAsConst(m_pieces)) {
        if (m_segments.isEmpty() || m_segments.last().end() < piece.address) {
            m_segments.append({piece.address, piece.bytes});
        } else if (m_segments.last().end() == piece.address) {
            m_segments.last().bytes += piece.bytes;
        } else {
            m_line = piece.line;
            fail(QStringLiteral("the address %1 is given twice").arg(addressText(piece.address)));
            return false;
        }
    }
    return true;
}

/** ":LLAAAATT", LL data bytes and a checksum, with which the sum of all bytes is 0. */
class IntelHexReader : public Reader
{
public:
    using Reader::Reader;

protected:
    void readLine(const QByteArray &line) override;

private:
    enum Type {
        Data = 0,
        EndOfFile = 1,
        SegmentAddress = 2,
        StartSegment = 3,
        LinearAddress = 4,
        StartLinear = 5,
    };
    /** Length, address, type and checksum. */
    static constexpr int frameSize = 5;
    static constexpr int headSize = 4;
    static constexpr int segmentUnit = 16;
    static constexpr int bankSize = 65'536;

    void readRecord(int type, quint32 offset, const QByteArray &data);
    static int lengthOf(int type);

    qint64 m_base = 0;
};

void IntelHexReader::readLine(const QByteArray &line)
{
    if (!line.startsWith(':')) {
        fail(QStringLiteral("a line of Intel HEX begins with ':'"));
        return;
    }
    const QByteArray bytes = bytesOf(line, 1);
    if (bytes.isEmpty())
        return;
    if (bytes.size() < frameSize || bytes.size() != frameSize + static_cast<quint8>(bytes.at(0))) {
        fail(QStringLiteral("the line does not have the length that it declares"));
        return;
    }
    if (sumOf(bytes) != 0) {
        fail(QStringLiteral("the checksum of the line is wrong"));
        return;
    }
    readRecord(static_cast<quint8>(bytes.at(3)), bigEndian(bytes.mid(1, 2)),
               bytes.mid(headSize, bytes.size() - frameSize));
}

/** How many data bytes a record of a type has; -1 for any number. */
int IntelHexReader::lengthOf(int type)
{
    switch (type) {
    case EndOfFile:
        return 0;
    case SegmentAddress:
    case LinearAddress:
        return 2;
    case StartSegment:
    case StartLinear:
        return 4;
    default:
        return -1;
    }
}

void IntelHexReader::readRecord(int type, quint32 offset, const QByteArray &data)
{
    if (lengthOf(type) >= 0 && data.size() != lengthOf(type)) {
        fail(QStringLiteral("a record of type %1 has %2 bytes").arg(type).arg(lengthOf(type)));
        return;
    }
    switch (type) {
    case Data:
        if (offset + data.size() > bankSize)
            fail(QStringLiteral("the data crosses the end of its 64 KiB"));
        else
            addData(m_base + offset, data);
        break;
    case EndOfFile:
        noteEnd();
        break;
    case SegmentAddress:
        m_base = qint64(bigEndian(data)) * segmentUnit;
        break;
    case LinearAddress:
        m_base = qint64(bigEndian(data)) * bankSize;
        break;
    case StartSegment:
    case StartLinear:
        break;
    default:
        fail(QStringLiteral("there is no record type %1 in Intel HEX").arg(type));
    }
}

/** "S", a type, a count, an address of 2 to 4 bytes, data, and the complement of their sum. */
class SRecordReader : public Reader
{
public:
    using Reader::Reader;

protected:
    void readLine(const QByteArray &line) override;

private:
    static int addressSize(char type);
    void readRecord(char type, quint32 address, const QByteArray &data);

    quint32 m_dataRecords = 0;
};

int SRecordReader::addressSize(char type)
{
    switch (type) {
    case '0':
    case '1':
    case '5':
    case '9':
        return 2;
    case '2':
    case '6':
    case '8':
        return 3;
    case '3':
    case '7':
        return 4;
    default:
        return 0;
    }
}

void SRecordReader::readLine(const QByteArray &line)
{
    const int width = line.size() > 1 ? addressSize(line.at(1)) : 0;
    if (!line.startsWith('S') || width == 0) {
        fail(QStringLiteral("a line of an S-record file begins with S0 to S3 or S5 to S9"));
        return;
    }
    const QByteArray bytes = bytesOf(line, 2);
    if (bytes.isEmpty())
        return;
    // The count is of all bytes after itself; the last one is the checksum.
    if (bytes.size() != 1 + static_cast<quint8>(bytes.at(0)) || bytes.size() < width + 2) {
        fail(QStringLiteral("the line does not have the length that it declares"));
        return;
    }
    if (sumOf(bytes) != 0xff) {
        fail(QStringLiteral("the checksum of the line is wrong"));
        return;
    }
    readRecord(line.at(1), bigEndian(bytes.mid(1, width)),
               bytes.mid(1 + width, bytes.size() - width - 2));
}

void SRecordReader::readRecord(char type, quint32 address, const QByteArray &data)
{
    if (type >= '5' && !data.isEmpty()) {
        fail(QStringLiteral("a record S%1 has no data").arg(QLatin1Char(type)));
        return;
    }
    switch (type) {
    case '1':
    case '2':
    case '3':
        ++m_dataRecords;
        addData(address, data);
        break;
    case '5':
    case '6':
        if (address != m_dataRecords)
            fail(QStringLiteral("the file counts %1 data records, but has %2")
                     .arg(address)
                     .arg(m_dataRecords));
        noteComplete();
        break;
    case '7':
    case '8':
    case '9':
        noteEnd();
        break;
    default: // S0 is a title.
        break;
    }
}

} // namespace

HexForm hexFormOf(const QByteArray &beginning)
{
    const QByteArray text = beginning.trimmed();
    constexpr int shortest = 9;
    const bool isText = text.size() >= shortest;
    if (isText && text.startsWith(':') && isHexDigit(text.at(1)) && isHexDigit(text.at(2)) &&
        isHexDigit(text.at(3)) && isHexDigit(text.at(4)))
        return HexForm::IntelHex;
    if (isText && text.startsWith('S') && text.at(1) >= '0' && text.at(1) <= '9' &&
        isHexDigit(text.at(2)) && isHexDigit(text.at(3)) && isHexDigit(text.at(4)))
        return HexForm::SRecord;
    return HexForm::None;
}

QString hexFormText(HexForm form)
{
    switch (form) {
    case HexForm::None:
        break;
    case HexForm::IntelHex:
        return QStringLiteral("Intel HEX");
    case HexForm::SRecord:
        return QStringLiteral("S-record");
    }
    return {};
}

QString hexFormId(HexForm form)
{
    return hexFormText(form).toLower().replace(QLatin1Char(' '), QLatin1Char('-'));
}

quint32 HexText::baseAddress() const
{
    return segments.isEmpty() ? 0 : segments.first().address;
}

qint64 HexText::imageSize() const
{
    return segments.isEmpty() ? 0 : segments.last().end() - segments.first().address;
}

QByteArray HexText::image(char fill) const
{
    QByteArray all(int(imageSize()), fill);
    for (const HexSegment &segment : segments)
        all.replace(int(segment.address - baseAddress()), segment.bytes.size(), segment.bytes);
    return all;
}

HexText parseHexText(const QByteArray &text)
{
    switch (hexFormOf(text)) {
    case HexForm::IntelHex:
        return IntelHexReader(text).read();
    case HexForm::SRecord:
        return SRecordReader(text).read();
    case HexForm::None:
        break;
    }
    return {QStringLiteral("the file is neither Intel HEX nor S-record"), 1, {}};
}
