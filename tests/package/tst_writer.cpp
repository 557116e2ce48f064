// SPDX-License-Identifier: Apache-2.0
#include "package/ImageRecord.h"
#include "package/PackageChecksum.h"
#include "package/PackageHeader.h"
#include "package/PackageWriter.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"
#include "tests/package/TestSource.h"

#include <QtTest>

#include <zlib.h>

namespace package::tst_writer {

using bytes::ByteSink;
using bytes::BytesSink;
using bytes::BytesSource;
using bytes::PartSource;

namespace {

using Error = PackageWriter::Error;

RecordKey key(const char *hex)
{
    return RecordKey::fromBytes(QByteArray::fromHex(hex));
}

/** Accepts a number of bytes and then fails, like a full disk. */
class SmallSink : public ByteSink
{
public:
    explicit SmallSink(qint64 space) : m_space(space) {}

    bool write(const char *, qint64 size) override
    {
        m_space -= size;
        return m_space >= 0;
    }
    bool overwrite(qint64, const QByteArray &) override { return m_space > 0; }

private:
    qint64 m_space;
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

/** Takes a golden package apart and writes it again, byte for byte. */
QByteArray rewritten(const QByteArray &original)
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

} // namespace

class TestWriter : public QObject
{
    Q_OBJECT

private slots:
    void writesGoldenPackages()
    {
        for (const char *name : {"good", "good-checksum-of-seven-digits", "good-no-images"})
            QCOMPARE(rewritten(golden(name)), golden(name));
        QCOMPARE(golden("good-checksum-of-seven-digits").at(7), '\0');
    }

    void agreesWithZlib()
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

    void believesTheGivenLength()
    {
        BytesSink sink;
        PackageWriter writer(sink);
        QVERIFY(writer.writeHeader("{}  ", 2));
        QVERIFY(writer.finish());
        BytesSource source(sink.bytes());
        QCOMPARE(readPackageHeader(source).jsonLength, 2);
        QVERIFY(checkPackage(source).matches());
    }

    void everyFullDisk()
    {
        BytesSink whole;
        QCOMPARE(writeInto(whole), Error::None);
        for (qint64 space = 0; space < whole.bytes().size(); ++space) {
            SmallSink sink(space);
            QCOMPARE(writeInto(sink), Error::WriteFailed);
        }
        // The last bytes fit, but the checksum cannot be overwritten.
        SmallSink exact(whole.bytes().size());
        QCOMPARE(writeInto(exact), Error::WriteFailed);
    }

    void imageTooLarge()
    {
        BytesSink sink;
        PackageWriter writer(sink);
        TestSource image("abc");
        image.missing = Q_INT64_C(0x100000000) - 3;
        QVERIFY(writer.writeHeader("{}", 2));
        const int before = sink.bytes().size();
        QVERIFY(!writer.writeRecord(key("0001010141010203"), image));
        QCOMPARE(writer.error(), Error::ImageTooLarge);
        QCOMPARE(sink.bytes().size(), before);
    }

    void memoryStaysFlat()
    {
        SmallSink sink(100'000'000);
        PackageWriter writer(sink);
        TestSource image(QByteArray(50'000'000, 'e'));
        QVERIFY(writer.writeHeader("{}", 2));
        QVERIFY(writer.writeRecord(key("0001010141010203"), image));
        QVERIFY(image.longest <= qint64(64) * 1024);
    }

    void keepsTheFirstFailure()
    {
        BytesSink sink;
        PackageWriter writer(sink);
        TestSource cut("abc");
        cut.missing = 1;
        BytesSource good("abc");
        QVERIFY(!writer.writeRecord(key("00"), cut));
        QVERIFY(!writer.finish());
        const int size = sink.bytes().size();
        QVERIFY(!writer.writeRecord(key("00"), good));
        QVERIFY(!writer.writeHeader("{}", 2));
        QCOMPARE(writer.error(), Error::ImageCutShort);
        QCOMPARE(sink.bytes().size(), size);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestWriter)

} // namespace package::tst_writer

#include "tst_writer.moc"
