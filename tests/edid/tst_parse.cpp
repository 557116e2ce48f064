// SPDX-License-Identifier: Apache-2.0
#include "edid/DumpText.h"
#include "edid/ParseEDID.h"
#include "edid/TestDumps.h"
#include "support/DeclaredMethods.h"
#include "support/TestCase.h"

#include <QSignalSpy>
#include <QtTest>

namespace tst_parse {

namespace {

const unsigned char *raw(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}

QByteArray brokenHeader()
{
    return realDump("v4l-lg-oled-c9-hdmi").replace(0, 1, "x");
}

/** A parser with all that it has emitted. */
struct Parser : ParseEDID
{
    QSignalSpy reports{this, &ParseEDID::signalEDID};
    QSignalSpy autoTimings{this, &ParseEDID::signalEDIDAutoTiming};

    static QStringList result(const QSignalSpy &spy, int index)
    {
        return spy.at(index).at(0).value<QList<QString>>();
    }
};

} // namespace

class TestParseEdid : public QObject
{
    Q_OBJECT

private slots:
    void signalsInOrder()
    {
        QCOMPARE(declaredMethods(ParseEDID::staticMetaObject),
                 (QStringList{"signal signalEDID(QStringList) result",
                              "signal signalEDIDAutoTiming(QStringList) result"}));
    }

    void parsesAreIndependent()
    {
        const QByteArray first = realDump("v4l-lg-oled-c9-hdmi");
        const QByteArray second = realDump("v4l-sony-gdmf520-vga");
        const QByteArray broken = brokenHeader();
        Parser edid;
        for (const QByteArray &dump : {first, second, broken, second})
            edid.parse(raw(dump));
        QCOMPARE(edid.reports.size(), 4);
        QCOMPARE(edid.autoTimings.size(), 0);
        const QStringList items{"SNY,GDM-F520,DVI,", "1280x1024@85Hz,", ""};
        QCOMPARE(edid.result(edid.reports, 1), items);
        QCOMPARE(edid.result(edid.reports, 2),
                 (QStringList{"EDID data header error !", "", "", "", ""}));
        QCOMPARE(edid.result(edid.reports, 3), items);
        QCOMPARE((QStringList{edid.identification(), edid.timings(), edid.extension()}), items);
        QCOMPARE(edid.status(), QString("DVI EDID"));
        QCOMPARE(edid.dump(), QString::fromLatin1(second.toHex(' ').toUpper() + ' '));
    }

    void reportAloneDoesNotCheck()
    {
        const QByteArray broken = brokenHeader();
        Parser edid;
        edid.report(raw(broken));
        edid.report(raw(broken));
        QCOMPARE(edid.reports.size(), 2);
        const QStringList result = edid.result(edid.reports, 0);
        QCOMPARE(result.mid(0, 1) + result.mid(3), QStringList("GSM,LG TV,HDMI,"));
        QCOMPARE(edid.result(edid.reports, 1), result);
        QCOMPARE(edid.status() + edid.dump(), QString());
    }

    void autoTimingVariant()
    {
        QList<QByteArray> dumps{brokenHeader()};
        for (const QString &name : realDumpNames())
            dumps.append(realDump(name));
        for (const QByteArray &dump : dumps) {
            const Outcome usual = outcomeOf(dump);
            QStringList lines;
            Parser edid;
            edid.setLineSink([&lines](const QString &line) { lines.append(line); });
            edid.parseAutoTiming(raw(dump));
            QCOMPARE(edid.reports.size(), 0);
            QCOMPARE(edid.autoTimings.size(), 1);
            QCOMPARE(edid.result(edid.autoTimings, 0), usual.items);
            QCOMPARE(edid.status(), usual.status);
            QCOMPARE(edid.dump(), usual.dump);
            QCOMPARE(lines, usual.lines);
        }
    }

    void keepsTheLastLine()
    {
        ParseEDID edid;
        QStringList lines;
        QStringList kept;
        edid.setLineSink([&](const QString &line) {
            lines.append(line);
            kept.append(QString::fromLatin1(edid.videoInfo()));
        });
        edid.parse(raw(realDump("v4l-lg-oled-c9-hdmi")));
        QVERIFY(lines.size() > 50);
        QCOMPARE(kept, lines);
    }

    void linesWithoutASink()
    {
        ParseEDID edid;
        edid.parse(raw(realDump("v4l-sony-gdmf520-vga")));
        QCOMPARE(edid.videoInfo(), QByteArray("Maximum Pixel Clock:370MHz\r\n"));
    }

    void noBytesAtAll()
    {
        Parser edid;
        edid.parse(nullptr);
        QCOMPARE(edid.reports.size(), 1);
        QCOMPARE(edid.status(), QString("EDID data header error !"));
    }

    void deletedByItsReceiver()
    {
        QPointer<ParseEDID> edid = new ParseEDID;
        connect(edid, &ParseEDID::signalEDID, [edid] { delete edid; });
        edid->parse(raw(realDump("v4l-sony-gdmf520-vga")));
        QVERIFY(edid.isNull());
    }

    void textOfRealDumps()
    {
        for (const QString &name : realDumpNames()) {
            const QByteArray dump = realDump(name);
            const QString upper = outcomeOf(dump).dump;
            QCOMPARE(edid::bytesFromText(upper).value_or(""), dump);
            QCOMPARE(edid::bytesFromText(upper.toLower() + "\r\n").value_or(""), dump);
        }
    }

    void text_data()
    {
        const tests::DataTable<QString, QByteArray> rows("argument", "start");
        const auto filled = [](const QString &start, int fields = 256) {
            return start + QString(" 11").repeated(fields - start.split(' ').size());
        };
        const QByteArray refused;
        rows("empty", "", refused);
        rows("255 fields", filled("00", 255), refused);
        rows("255 fields and blanks around", "  " + filled("00", 255) + "  ", refused);
        rows("no blanks", QString(512, 'a'), refused);
        rows("256 fields", filled("00"), QByteArray("\x00\x11", 2));
        rows("257 fields", filled("00") + " 22", QByteArray("\x00\x11", 2));
        rows("blanks around", " \t" + filled("fe") + " \r\n", "\xfe\x11");
        rows("one digit", filled("f"), "\x0f\x11");
        rows("low byte", filled("1fe"), "\xfe\x11");
        rows("prefix", filled("0xfe"), "\xfe\x11");
        rows("negative", filled("-1"), "\xff\x11");
        rows("too large to be a number", filled("fffffffff"), QByteArray("\x00\x11", 2));
        rows("not hexadecimal", filled("xy 1g z"), QByteArray("\x00\x00\x00\x11", 4));
        rows("an empty field counts", filled("fe  fd"), QByteArray("\xfe\x00\xfd\x11", 4));
        rows("other letters", filled(QString::fromUtf8("é fe")), QByteArray("\x00\xfe\x11", 3));
    }

    void text()
    {
        QFETCH(QString, argument);
        QFETCH(QByteArray, start);
        const auto bytes = edid::bytesFromText(argument);
        QCOMPARE(bytes.has_value(), !start.isNull());
        const QByteArray rest(256 - start.size(), '\x11');
        QCOMPARE(bytes.value_or(rest), start + rest);
    }
};

AGENT_TEST(TestParseEdid)

} // namespace tst_parse

#include "tst_parse.moc"
