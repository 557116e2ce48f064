// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LogLine.h"
#include "support/TestCase.h"

namespace monitoring::tst_log_line {

class TestLogLine : public QObject
{
    Q_OBJECT

private slots:
    void values_data()
    {
        const tests::DataTable<QString, QString> rows("value", "written");
        const QString longest(LogLine::longestValue, 'a');
        rows("plain", "MAIN", "MAIN");
        rows("path", "/data/FW.fwm", "/data/FW.fwm");
        rows("address", "fe80::1%eth0", "fe80::1%eth0");
        rows("empty", "", "\"\"");
        rows("blank", "AUX 1", "\"AUX 1\"");
        rows("quote", "a\"b", "\"a\\\"b\"");
        rows("backslash", "a\\b", "\"a\\\\b\"");
        rows("equals", "a=b", "\"a=b\"");
        rows("line ends", "a\r\nb\tc", "\"a\\r\\nb\\tc\"");
        rows("controls", QString("\x1b[2J") + QChar(0) + QChar(0x7f),
             "\"\\u001b[2J\\u0000\\u007f\"");
        rows("beyond ASCII", QString("n") + QChar(0xe9) + QChar(0x202e) + QChar(0x2028),
             "\"n\\u00e9\\u202e\\u2028\"");
        rows("half a character", QChar(0xd83d), "\"\\ud83d\"");
        rows("longest", longest, longest);
        rows("too long", longest + "b", longest + "...");
        rows("far too long", QString(1'000'000, ' '),
             '"' + QString(LogLine::longestValue, ' ') + "...\"");
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

} // namespace monitoring::tst_log_line

#include "tst_log_line.moc"
