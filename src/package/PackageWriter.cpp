// SPDX-License-Identifier: Apache-2.0
#include "package/PackageWriter.h"

#include "bytes/Chunks.h"
#include "package/PackageLayout.h"

#include <QtEndian>

#include <limits>

using bytes::ByteSink;
using bytes::ByteSource;
using bytes::forEachChunk;

namespace package {

namespace {

constexpr int chunkSize = 64 * 1024;

template<typename T>
QByteArray bigEndian(T value)
{
    QByteArray bytes(sizeof value, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

template<typename T>
QByteArray littleEndian(T value)
{
    QByteArray bytes(sizeof value, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

} // namespace

PackageWriter::PackageWriter(ByteSink &sink) : m_sink(&sink) {}

bool PackageWriter::writeHeader(const QByteArray &json, quint16 jsonLength)
{
    if (m_error != Error::None)
        return false;
    if (!m_sink->write(QByteArray(package::checksumSize, '\0')))
        return fail(Error::WriteFailed);
    return put(package::magic, package::magicSize) &&
           put(bigEndian(quint16(package::newestVersion))) && put(littleEndian(jsonLength)) &&
           put(json);
}

bool PackageWriter::writeRecord(const RecordKey &key, ByteSource &image)
{
    if (m_error != Error::None)
        return false;
    const qint64 length = image.size();
    if (length > std::numeric_limits<quint32>::max())
        return fail(Error::ImageTooLarge);
    if (!put(key.bytes()) || !put(littleEndian(quint32(length))))
        return false;

    const auto add = [this](const char *bytes, qint64 count) { return put(bytes, count); };
    if (forEachChunk(image, 0, chunkSize, add) == length)
        return true;
    return m_error != Error::None ? false : fail(Error::ImageCutShort);
}

bool PackageWriter::finish()
{
    if (m_error != Error::None)
        return false;
    const QByteArray text = m_crc.text().leftJustified(package::checksumSize, '\0', true);
    return m_sink->overwrite(0, text) || fail(Error::WriteFailed);
}

bool PackageWriter::put(const char *bytes, qint64 size)
{
    if (!m_sink->write(bytes, size))
        return fail(Error::WriteFailed);
    m_crc.add(bytes, size);
    return true;
}

bool PackageWriter::fail(Error error)
{
    m_error = error;
    return false;
}

} // namespace package
