// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LogLine.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_log_line {

using namespace monitoring;

class TestLogLine : public QObject
{
    Q_OBJECT

private slots:
    void values_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("written");

        const QString longest(LogLine::longestValue, 'a');
        QTest::newRow("plain") << "MAIN"
                               << "MAIN";
        QTest::newRow("path") << "/data/FW.fwm"
                              << "/data/FW.fwm";
        QTest::newRow("address") << "fe80::1%eth0"
                                 << "fe80::1%eth0";
        QTest::newRow("empty") << ""
                               << "\"\"";
        QTest::newRow("blank") << "AUX 1"
                               << "\"AUX 1\"";
        QTest::newRow("quote") << "a\"b"
                               << "\"a\\\"b\"";
        QTest::newRow("backslash") << "a\\b"
                                   << "\"a\\\\b\"";
        QTest::newRow("equals") << "a=b"
                                << "\"a=b\"";
        QTest::newRow("line ends") << "a\r\nb\tc"
                                   << "\"a\\r\\nb\\tc\"";
        QTest::newRow("controls") << QString("\x1b[2J") + QChar(0) + QChar(0x7f)
                                  << "\"\\u001b[2J\\u0000\\u007f\"";
        QTest::newRow("beyond ASCII") << QString("n") + QChar(0xe9) + QChar(0x202e) + QChar(0x2028)
                                      << "\"n\\u00e9\\u202e\\u2028\"";
        QTest::newRow("half a character") << QString(QChar(0xd83d)) << "\"\\ud83d\"";
        QTest::newRow("longest") << longest << longest;
        QTest::newRow("too long") << longest + "b" << longest + "...";
        QTest::newRow("far too long")
            << QString(1'000'000, ' ') << '"' + QString(LogLine::longestValue, ' ') + "...\"";
    }

    void values()
    {
        QFETCH(QString, value);
        QFETCH(QString, written);
        QCOMPARE(LogLine("e").add("key", value).text(), "event=e key=" + written);
    }

    void pairs()
    {
        LogLine line("e");
        line.add("a", 1).addIfAny("b", "").addIfAny("c", "d").addSeconds("s", 12'345).add("z", -1);
        QCOMPARE(line.text(), QString("event=e a=1 c=d s=12.3 z=-1"));
    }

    void noForgedLine()
    {
        for (int code = 0; code <= 0xffff; ++code) {
            const QString text = LogLine("e").add("k", QString(QChar(ushort(code)))).text();
            for (const QChar character : text)
                QVERIFY(character.unicode() >= 0x20 && character.unicode() < 0x7f);
        }
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestLogLine)

} // namespace tst_log_line

#include "tst_log_line.moc"
