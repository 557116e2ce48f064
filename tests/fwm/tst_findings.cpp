// SPDX-License-Identifier: Apache-2.0
// Images and names that a package may have and a device cannot use.
#include "fwm/Findings.h"
#include "support/TestCase.h"

#include <QtTest>

Q_DECLARE_METATYPE(ImageContent)

namespace tst_findings {

namespace {

QStringList textsOf(const QVector<Finding> &findings)
{
    QStringList texts;
    for (const Finding &finding : findings)
        texts.append(findingText(finding).section(QStringLiteral(": "), 1));
    return texts;
}

/** A chip with one image. */
QByteArray chip(const QByteArray &name, int chipType, const QByteArray &imageName)
{
    return "{\"name\":\"" + name + "\",\"chip_type\":\"" + QByteArray::number(chipType) +
           "\",\"mcus\":[{\"pcbs\":[{\"name\":\"" + imageName + "\"}]}]}";
}

QStringList nameProblems(const QByteArray &chips)
{
    PackageContents contents;
    contents.description = package::parseDescription("{\"chips\":[" + chips + "]}");
    contents.entries = package::imageEntries(contents.description.object);
    return textsOf(nameFindings(contents));
}

} // namespace

class TestFindings : public QObject
{
    Q_OBJECT

private slots:
    void content_data()
    {
        const tests::DataTable<QByteArray, ImageContent> row("bytes", "content");
        row("empty", "", ImageContent::Firmware);
        row("vectors", QByteArray("\x00\x20\x00\x20", 4) + QByteArray(400, '\xff'),
            ImageContent::Firmware);
        row("ELF",
            QByteArray("\x7f"
                       "ELF\x01\x01\x01") +
                QByteArray(400, '\0'),
            ImageContent::Elf);
        row("Intel HEX", ":10000000000102030405060708090A0B0C0D0E0F78\r\n", ImageContent::IntelHex);
        row("S-record", "S00600004844521B\nS1", ImageContent::SRecord);
        row("zeros", QByteArray(70'000, '\0'), ImageContent::AllZeros);
        row("ones", QByteArray(70'000, '\xff'), ImageContent::AllOnes);
        row("one other byte at the end", QByteArray(70'000, '\xff') + 'a', ImageContent::Firmware);
        row("a text about ELF", "ELF files", ImageContent::Firmware);
    }

    /** In one piece, and byte by byte. */
    void content()
    {
        QFETCH(QByteArray, bytes);
        ImageContentDetector whole;
        whole.add(bytes.constData(), bytes.size());
        QTEST(whole.content(), "content");
        ImageContentDetector pieces;
        for (const char &byte : qAsConst(bytes))
            pieces.add(&byte, 1);
        QTEST(pieces.content(), "content");
    }

    void images_data()
    {
        const tests::DataTable<int, qint64, ImageContent, QStringList> row("chipType", "length",
                                                                           "content", "texts");
        const ImageContent plain = ImageContent::Firmware;
        const QString shortImage = "error: the image has 255 bytes; no chip takes fewer than 256 "
                                   "bytes as complete [image-short]";
        row("one block", 0, 256, plain, {});
        row("short", 0, 255, plain, {shortImage});
        row("one byte", 0, 1, plain,
            {"error: the image has 1 byte; no chip takes fewer than 256 bytes as complete "
             "[image-short]"});
        row("short for an FPGA", 17, 255, plain, {shortImage});
        row("short for the network module", 32, 255, plain, {});
        row("empty is another finding", 0, 0, plain, {});
        row("the longest", 0, 268'435'456, plain, {});
        row("too long", 0, 268'435'457, plain,
            {"error: the image has 268435457 bytes; the agent takes 268435456 at most "
             "[image-long]"});
        row("long for the network module", 32, 268'435'457, plain, {});
        row("ELF", 1, 256, ImageContent::Elf,
            {"error: the image is an ELF file, not the bytes for a flash [image-not-binary]"});
        row("Intel HEX", 1, 256, ImageContent::IntelHex,
            {"error: the image is an Intel HEX file, not the bytes for a flash "
             "[image-not-binary]"});
        row("S-record", 1, 256, ImageContent::SRecord,
            {"error: the image is an S-record file, not the bytes for a flash [image-not-binary]"});
        row("zeros", 1, 256, ImageContent::AllZeros,
            {"warning: every byte of the image is 0x00 [image-blank]"});
        row("short and ones", 1, 255, ImageContent::AllOnes,
            {shortImage, "warning: every byte of the image is 0xFF [image-blank]"});
    }

    void images()
    {
        QFETCH(int, chipType);
        QFETCH(qint64, length);
        QFETCH(ImageContent, content);
        ImageInfo image;
        image.record.key.chipType = quint8(chipType);
        image.record.length = length;
        image.content = content;
        PackageContents contents;
        contents.images = {image};
        QTEST(textsOf(imageFindings(contents)), "texts");
    }

    void names_data()
    {
        const tests::DataTable<QByteArray, QStringList> row("chips", "texts");
        const auto unsendable = [&row](const QByteArray &name, const char *part) {
            row(name.constData(), chip("MAIN", 1, name),
                {QStringLiteral(
                     "error: chips[0].mcus[0].pcbs[0].name is \"%1\"; a request cannot have "
                     "\"%2\" in a name [name-unsendable]")
                     .arg(QString::fromUtf8(name), QString::fromUtf8(part))});
        };
        row("good", chip("MAIN", 1, "MAIN-A") + "," + chip("AUX", 2, "AUX"), {});
        row("no images", "", {"warning: the description has no image [no-images]"});
        unsendable("A,B", ",");
        unsendable("A||B", "||");
        unsendable("MY HEARTBEAT", "HEARTBEAT");
        unsendable("HEART BEAT", "HEARTBEAT");
        unsendable("GETFIRMWARELIST", "GETFIRMWARELIST");
        unsendable("PARSEEDID", "PARSEEDID");
        unsendable("\xe4\xb8\xbb", "\xe4\xb8\xbb");
        row("a line end", chip("MAIN", 1, "A\\nB"),
            {"error: chips[0].mcus[0].pcbs[0].name is \"A\nB\"; a request cannot have \"\n\" in a "
             "name "
             "[name-unsendable]"});
        row("Latin-1", chip("MAIN", 1, "\xc3\x84"), {});
        row("UPGRADE", chip("MAIN", 1, "UPGRADEALL"), {});
        row("of a chip", chip("A,B", 1, "MAIN"),
            {"error: chips[0].name is \"A,B\"; a request cannot have \",\" in a name "
             "[name-unsendable]"});
        row("two chips of one name", chip("MAIN", 1, "A") + "," + chip("MAIN", 2, "B"),
            {"warning: chips[1].name is \"MAIN\", the name of another chip at chips[0].name "
             "[name-shared]"});
        row("two images of one name", chip("MAIN", 1, "A") + "," + chip("AUX", 2, "A"),
            {"warning: chips[1].mcus[0].pcbs[0].name is \"A\", the name of another chip at "
             "chips[0].mcus[0].pcbs[0].name [name-shared]"});
        row("two images of one chip", chip("MAIN", 1, "A") + "," + chip("MAIN", 1, "A"), {});
    }

    void names()
    {
        QFETCH(QByteArray, chips);
        QTEST(nameProblems(chips), "texts");
    }
};

AGENT_TEST(TestFindings)

} // namespace tst_findings

#include "tst_findings.moc"
