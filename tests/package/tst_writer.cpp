// SPDX-License-Identifier: Apache-2.0
#include "package/ImageRecord.h"
#include "package/PackageChecksum.h"
#include "package/PackageHeader.h"
#include "package/PackageWriter.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"

#include <QtTest>

#include <zlib.h>

namespace tst_writer {

using bytes::ByteSink;
using bytes::ByteSource;
using bytes::BytesSink;
using bytes::BytesSource;
using bytes::PartSource;
using package::checkPackage;
using package::PackageHeader;
using package::PackageWriter;
using package::readDescription;
using package::readPackageHeader;
using package::RecordKey;
using package::RecordWalker;

namespace {

using Error = PackageWriter::Error;

RecordKey key(const char *hex)
{
    return RecordKey::fromBytes(QByteArray::fromHex(hex));
}

/** Takes so many bytes and no more, like a full disk. */
class SmallSink : public ByteSink
{
public:
    explicit SmallSink(qint64 room) : m_room(room) {}

    bool write(const char *, qint64 size) override
    {
        m_room -= size;
        return m_room >= 0;
    }
    bool overwrite(qint64, const QByteArray &) override { return m_room > 0; }

private:
    qint64 m_room;
};

/** Any number of bytes without having them, and the largest piece that anybody asked for. */
class EndlessSource : public ByteSource
{
public:
    explicit EndlessSource(qint64 size) : m_size(size) {}

    qint64 size() const override { return m_size; }
    QByteArray read(qint64, qint64 length) override
    {
        largest = std::max(largest, length);
        return {int(length), 'e'};
    }

    qint64 largest = 0;

private:
    qint64 m_size;
};

class CutSource : public BytesSource
{
public:
    using BytesSource::BytesSource;
    qint64 size() const override { return BytesSource::size() + 1; }
};

/** Writes the packages of one description and one image, stopping where the sink does. */
Error writeInto(ByteSink &sink)
{
    PackageWriter writer(sink);
    BytesSource image(QByteArray(100, 'i'));
    const bool done = writer.writeHeader("{}", 2) &&
                      writer.writeRecord(key("0001010141010203"), image) && writer.finish();
    return done ? Error::None : writer.error();
}

} // namespace

class TestWriter : public QObject
{
    Q_OBJECT

private slots:
    void writesTheGoldenPackage();
    void writesANarrowChecksum();
    void writesAHeaderAlone();
    void agreesWithZlib();
    void believesTheGivenLength();
    void everyFullDisk();
    void imageThatShrinks();
    void imageTooLarge();
    void memoryStaysFlat();
    void keepsTheFirstFailure();
};

/** Takes a golden package apart and writes it again, byte for byte. */
static QByteArray rewritten(const QByteArray &original)
{
    BytesSource source(original);
    const PackageHeader header = readPackageHeader(source);
    BytesSink sink;
    PackageWriter writer(sink);
    writer.writeHeader(readDescription(source, header), quint16(header.jsonLength));
    RecordWalker walker(source);
    while (const auto record = walker.next()) {
        PartSource image(source, record->imageOffset, record->length);
        writer.writeRecord(record->key, image);
    }
    writer.finish();
    return sink.bytes();
}

void TestWriter::writesTheGoldenPackage()
{
    const QByteArray good = golden(QStringLiteral("good"));
    QCOMPARE(rewritten(good), good);
}

void TestWriter::writesANarrowChecksum()
{
    const QByteArray narrow = golden(QStringLiteral("good-checksum-of-seven-digits"));
    QCOMPARE(narrow.at(7), '\0');
    QCOMPARE(rewritten(narrow), narrow);
}

void TestWriter::writesAHeaderAlone()
{
    const QByteArray empty = golden(QStringLiteral("good-no-images"));
    QCOMPARE(rewritten(empty), empty);
}

void TestWriter::agreesWithZlib()
{
    BytesSink sink;
    QCOMPARE(writeInto(sink), Error::None);
    const QByteArray body = sink.bytes().mid(8);
    const uLong crc =
        ::crc32(0, reinterpret_cast<const Bytef *>(body.constData()), uInt(body.size()));
    const QByteArray text = QByteArray::number(quint32(crc), 16).leftJustified(8, '\0');
    QCOMPARE(sink.bytes().left(8), text);
    QCOMPARE(body.left(9), QByteArray("MTU\0\6\2\0{}", 9));
}

void TestWriter::believesTheGivenLength()
{
    BytesSink sink;
    PackageWriter writer(sink);
    QVERIFY(writer.writeHeader("{}  ", 2));
    QVERIFY(writer.finish());
    BytesSource source(sink.bytes());
    QCOMPARE(readPackageHeader(source).jsonLength, 2);
    QVERIFY(checkPackage(source).matches());
}

void TestWriter::everyFullDisk()
{
    BytesSink whole;
    QCOMPARE(writeInto(whole), Error::None);
    for (qint64 room = 0; room < whole.bytes().size(); ++room) {
        SmallSink sink(room);
        QCOMPARE(writeInto(sink), Error::WriteFailed);
    }
    // The last bytes fit, but the checksum's place cannot be written any more.
    SmallSink exact(whole.bytes().size());
    QCOMPARE(writeInto(exact), Error::WriteFailed);
}

void TestWriter::imageThatShrinks()
{
    BytesSink sink;
    PackageWriter writer(sink);
    CutSource image("abc");
    QVERIFY(writer.writeHeader("{}", 2));
    QVERIFY(!writer.writeRecord(key("0001010141010203"), image));
    QCOMPARE(writer.error(), Error::ImageCutShort);
    QVERIFY(!writer.finish());
}

void TestWriter::imageTooLarge()
{
    BytesSink sink;
    PackageWriter writer(sink);
    EndlessSource image(Q_INT64_C(0x100000000));
    QVERIFY(writer.writeHeader("{}", 2));
    const int before = sink.bytes().size();
    QVERIFY(!writer.writeRecord(key("0001010141010203"), image));
    QCOMPARE(writer.error(), Error::ImageTooLarge);
    QCOMPARE(sink.bytes().size(), before);
}

void TestWriter::memoryStaysFlat()
{
    SmallSink sink(100'000'000);
    PackageWriter writer(sink);
    EndlessSource image(50'000'000);
    QVERIFY(writer.writeHeader("{}", 2));
    QVERIFY(writer.writeRecord(key("0001010141010203"), image));
    QVERIFY(image.largest <= qint64(64) * 1024);
}

void TestWriter::keepsTheFirstFailure()
{
    BytesSink sink;
    PackageWriter writer(sink);
    CutSource cut("abc");
    BytesSource good("abc");
    QVERIFY(!writer.writeRecord(key("00"), cut));
    const int size = sink.bytes().size();
    QVERIFY(!writer.writeRecord(key("00"), good));
    QVERIFY(!writer.writeHeader("{}", 2));
    QCOMPARE(writer.error(), Error::ImageCutShort);
    QCOMPARE(sink.bytes().size(), size);
}

AGENT_TEST_WITHOUT_APPLICATION(TestWriter)

} // namespace tst_writer

#include "tst_writer.moc"
