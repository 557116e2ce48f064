// SPDX-License-Identifier: Apache-2.0
#include "edid/DumpText.h"
#include "edid/ParseEDID.h"
#include "edid/TestDumps.h"
#include "support/TestCase.h"

#include <QMetaMethod>
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
    QByteArray bytes = realDump("v4l-lg-oled-c9-hdmi");
    bytes[0] = 1;
    return bytes;
}

QList<QString> result(const QSignalSpy &spy, int index)
{
    return spy.at(index).at(0).value<QList<QString>>();
}

} // namespace

class TestParseEdid : public QObject
{
    Q_OBJECT

private slots:
    void signalsInOrder()
    {
        const QMetaObject &meta = ParseEDID::staticMetaObject;
        QStringList own;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            QCOMPARE(method.methodType(), QMetaMethod::Signal);
            own += QString::fromLatin1(method.methodSignature() + ' ' +
                                       method.parameterNames().join());
        }
        own.replaceInStrings("QStringList", "QList<QString>"); // Qt 6 records the other name
        QCOMPARE(own, (QStringList{"signalEDID(QList<QString>) result",
                                   "signalEDIDAutoTiming(QList<QString>) result"}));
    }

    void emitsOnce()
    {
        const QByteArray dump = realDump("v4l-lg-oled-c9-hdmi");
        ParseEDID edid;
        QSignalSpy report(&edid, &ParseEDID::signalEDID);
        QSignalSpy autoTiming(&edid, &ParseEDID::signalEDIDAutoTiming);
        edid.parse(raw(dump));
        QCOMPARE(report.size(), 1);
        QCOMPARE(autoTiming.size(), 0);
        QCOMPARE(result(report, 0),
                 (QList<QString>{edid.identification(), edid.timings(), edid.extension()}));
        QCOMPARE(edid.identification(), QString("GSM,LG TV,HDMI,"));
    }

    void parsesAreIndependent()
    {
        const QByteArray first = realDump("v4l-lg-oled-c9-hdmi");
        const QByteArray second = realDump("v4l-sony-gdmf520-vga");
        const QByteArray broken = brokenHeader();
        ParseEDID edid;
        QSignalSpy report(&edid, &ParseEDID::signalEDID);
        for (const QByteArray &dump : {first, second, broken, second})
            edid.parse(raw(dump));
        QCOMPARE(report.size(), 4);
        QCOMPARE(result(report, 1), result(report, 3));
        QCOMPARE(result(report, 1), (QList<QString>{"SNY,GDM-F520,DVI,", "1280x1024@85Hz,", ""}));
        QCOMPARE(result(report, 2), (QList<QString>{"EDID data header error !", "", "", "", ""}));
        QCOMPARE(edid.status(), QString("DVI EDID"));
        QCOMPARE(edid.dump(), QString::fromLatin1(second.toHex(' ').toUpper() + ' '));
    }

    void reportAloneDoesNotCheck()
    {
        const QByteArray broken = brokenHeader();
        ParseEDID edid;
        QSignalSpy report(&edid, &ParseEDID::signalEDID);
        edid.report(raw(broken));
        edid.report(raw(broken));
        QCOMPARE(report.size(), 2);
        QCOMPARE(result(report, 0), result(report, 1));
        QCOMPARE(result(report, 0).size(), 3);
        QCOMPARE(edid.identification(), QString("GSM,LG TV,HDMI,"));
        QCOMPARE(edid.status(), QString());
        QCOMPARE(edid.dump(), QString());
    }

    void autoTimingVariant()
    {
        for (const QString &name : realDumpNames()) {
            const QByteArray dump = realDump(name);
            const Outcome usual = outcomeOf(dump);
            QStringList lines;
            ParseEDID edid;
            edid.setLineSink([&lines](const QString &line) { lines.append(line); });
            QSignalSpy report(&edid, &ParseEDID::signalEDID);
            QSignalSpy autoTiming(&edid, &ParseEDID::signalEDIDAutoTiming);
            edid.parseAutoTiming(raw(dump));
            QCOMPARE(report.size(), 0);
            QCOMPARE(autoTiming.size(), 1);
            QCOMPARE(result(autoTiming, 0), usual.emitted[0]);
            QCOMPARE(edid.status(), usual.status);
            QCOMPARE(edid.dump(), usual.dump);
            QCOMPARE(lines, usual.lines);
        }
    }

    void autoTimingHeaderError()
    {
        const QByteArray broken = brokenHeader();
        ParseEDID edid;
        QSignalSpy report(&edid, &ParseEDID::signalEDID);
        QSignalSpy autoTiming(&edid, &ParseEDID::signalEDIDAutoTiming);
        edid.parseAutoTiming(raw(broken));
        QCOMPARE(report.size(), 0);
        QCOMPARE(autoTiming.size(), 1);
        QCOMPARE(result(autoTiming, 0),
                 (QList<QString>{"EDID data header error !", "", "", "", ""}));
    }

    void keepsTheLastLine()
    {
        ParseEDID edid;
        QStringList lines;
        QList<QByteArray> kept;
        edid.setLineSink([&](const QString &line) {
            lines.append(line);
            kept.append(edid.videoInfo());
        });
        edid.parse(raw(realDump("v4l-lg-oled-c9-hdmi")));
        QVERIFY(lines.size() > 50);
        for (int i = 0; i < lines.size(); ++i) {
            QCOMPARE(kept[i], lines[i].toLatin1());
            QVERIFY(lines[i].endsWith("\r\n"));
        }
        QCOMPARE(edid.videoInfo(), QByteArray("\r\nHDR :Support\r\n"));
    }

    void linesWithoutASink()
    {
        ParseEDID edid;
        edid.parse(raw(realDump("v4l-sony-gdmf520-vga")));
        QCOMPARE(edid.videoInfo(), QByteArray("Maximum Pixel Clock:370MHz\r\n"));
    }

    void noBytesAtAll()
    {
        ParseEDID edid;
        QSignalSpy report(&edid, &ParseEDID::signalEDID);
        edid.parse(nullptr);
        QCOMPARE(report.size(), 1);
        QCOMPARE(edid.status(), QString("EDID data header error !"));
    }

    void deletedByItsReceiver()
    {
        const QByteArray dump = realDump("v4l-sony-gdmf520-vga");
        auto *edid = new ParseEDID;
        QPointer<ParseEDID> guard(edid);
        connect(edid, &ParseEDID::signalEDID, [edid] { delete edid; });
        edid->parse(raw(dump));
        QVERIFY(guard.isNull());
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
        QTest::addColumn<QString>("argument");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QByteArray>("start");
        const auto filled = [](const QString &start, int fields) {
            return start + QString(" 11").repeated(fields - start.split(' ').size());
        };
        const auto row = [&](const char *name, const QString &argument, const QByteArray &start) {
            QTest::newRow(name) << argument << !start.isNull() << start;
        };
        row("empty", "", QByteArray());
        row("255 fields", filled("00", 255), QByteArray());
        row("255 fields and blanks around", "  " + filled("00", 255) + "  ", QByteArray());
        row("no blanks", QString(512, 'a'), QByteArray());
        row("256 fields", filled("00", 256), QByteArray("\x00\x11", 2));
        row("257 fields", filled("00", 256) + " 22", QByteArray("\x00\x11", 2));
        row("blanks around", " \t" + filled("fe", 256) + " \r\n", "\xfe\x11");
        row("one digit", filled("f", 256), "\x0f\x11");
        row("low byte", filled("1fe", 256), "\xfe\x11");
        row("prefix", filled("0xfe", 256), "\xfe\x11");
        row("negative", filled("-1", 256), "\xff\x11");
        row("too large to be a number", filled("fffffffff", 256), QByteArray("\x00\x11", 2));
        row("not hexadecimal", filled("xy 1g z", 256), QByteArray("\x00\x00\x00\x11", 4));
        row("an empty field counts", filled("fe  fd", 256), QByteArray("\xfe\x00\xfd\x11", 4));
        row("other letters", filled(QString::fromUtf8("é fe"), 256), QByteArray("\x00\xfe\x11", 3));
    }

    void text()
    {
        QFETCH(QString, argument);
        QFETCH(bool, accepted);
        QFETCH(QByteArray, start);
        const auto bytes = edid::bytesFromText(argument);
        QCOMPARE(bytes.has_value(), accepted);
        if (accepted) {
            QCOMPARE(bytes->size(), 256);
            QCOMPARE(bytes->left(start.size()), start);
        }
    }
};

AGENT_TEST(TestParseEdid)

} // namespace tst_parse

#include "tst_parse.moc"
