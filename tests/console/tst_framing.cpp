// SPDX-License-Identifier: Apache-2.0
#include "console/LineFramer.h"
#include "support/TestCase.h"

#include <QRandomGenerator>

namespace console::tst_framing {

namespace {

constexpr int limit = 1024 * 1024;

/** All lines of one read. */
QStringList linesOf(LineFramer &framer, const QString &read)
{
    framer.feed(read);
    QStringList lines;
    for (; framer.next() != nullptr; framer.take())
        lines.append(*framer.next());
    return lines;
}

/** The rule written down as plainly as it goes: the whole buffer is split at each read. */
class PlainFramer
{
public:
    QStringList feed(const QString &text)
    {
        m_buffer += text;
        QStringList parts = m_buffer.split('\r');
        const bool complete = parts.last().endsWith('\n');
        m_buffer = complete ? QString() : parts.takeLast();
        QStringList lines;
        for (const QString &part : parts) {
            if (!part.trimmed().isEmpty())
                lines.append(part.trimmed());
        }
        return lines;
    }

    QString rest() const { return m_buffer; }

private:
    QString m_buffer;
};

} // namespace

class TestFraming : public QObject
{
    Q_OBJECT

private slots:
    void reads_data()
    {
        const tests::DataTable<QStringList, QStringList, QString> row("reads", "lines", "rest");
        row("carriage return and line feed", {"A\r\n"}, {"A"}, "");
        row("bare line feed", {"A\n"}, {"A"}, "");
        row("bare carriage return", {"A\r"}, {"A"}, "");
        row("no end", {"A"}, {}, "A");
        row("two reads", {"HEART", "BEAT\r\n"}, {"HEARTBEAT"}, "");
        row("end split in two", {"A\r", "\nB\r\n"}, {"A", "B"}, "");
        row("end alone", {"A", "\r\n"}, {"A"}, "");
        row("line feed alone", {"A", "\n"}, {"A"}, "");
        row("two lines", {"A\r\nB\r\n"}, {"A", "B"}, "");
        row("two lines by carriage returns", {"A\rB\r"}, {"A", "B"}, "");
        row("line feeds do not separate", {"A\nB\n"}, {"A\nB"}, "");
        row("nor over two reads", {"A\nB", "C\n"}, {"A\nBC"}, "");
        row("a line feed inside waits", {"A\nB"}, {}, "A\nB");
        row("a read that ends with a line feed", {"A\n", "B\n"}, {"A", "B"}, "");
        row("empty lines", {"\r\r\n\n\r \t\r\n"}, {}, "");
        row("blanks are trimmed", {"  A B \t\r\n"}, {"A B"}, "");
        row("the rest is not trimmed", {"A\r  B "}, {"A"}, "  B ");
        row("rest then end", {"A\r  B ", " C\r\n"}, {"A", "B  C"}, "");
        row("nothing read", {"A", "", "B\r\n"}, {"AB"}, "");
    }

    void reads()
    {
        QFETCH(QStringList, reads);
        LineFramer framer(limit);
        QStringList lines;
        for (const QString &read : reads)
            lines += linesOf(framer, read);
        QTEST(lines, "lines");
        QTEST(framer.rest(), "rest");
    }

    void sameAsThePlainRule()
    {
        QRandomGenerator random(1);
        const QString alphabet = "AB \r\n\r\n\t";
        for (int round = 0; round < 2000; ++round) {
            LineFramer framer(limit);
            PlainFramer plain;
            for (int read = 0; read < 6; ++read) {
                QString text;
                for (int length = random.bounded(8); length > 0; --length)
                    text += alphabet.at(random.bounded(alphabet.size()));
                QCOMPARE(linesOf(framer, text), plain.feed(text));
                QCOMPARE(framer.rest(), plain.rest());
            }
        }
    }

    void limitDropsAnEndlessLine()
    {
        LineFramer framer(10);
        QCOMPARE(linesOf(framer, "0123456789"), QStringList());
        QVERIFY(!framer.takeOverflow());
        QCOMPARE(linesOf(framer, "x"), QStringList());
        QVERIFY(framer.takeOverflow());
        QVERIFY(!framer.takeOverflow());
        QCOMPARE(framer.rest(), QString());
        QCOMPARE(linesOf(framer, "A\r\n"), QStringList{"A"});
    }

    void limitSparesFinishedLines()
    {
        LineFramer framer(10);
        const QString longLine(100, 'x');
        QCOMPARE(linesOf(framer, longLine + '\r' + longLine), QStringList{longLine});
        QVERIFY(framer.takeOverflow());
        QCOMPARE(linesOf(framer, longLine + '\n'), QStringList{longLine});
        QVERIFY(!framer.takeOverflow());
    }

    /** A line stays until it is taken, and what waits counts. */
    void linesWait()
    {
        LineFramer framer(limit);
        QCOMPARE(linesOf(framer, "12"), QStringList());
        QCOMPARE(framer.size(), 2);
        framer.feed("34\rB\r  C");
        QCOMPARE(*framer.next(), QString("1234"));
        QCOMPARE(*framer.next(), QString("1234"));
        QCOMPARE(framer.size(), 8);
        framer.take();
        QCOMPARE(*framer.next(), QString("B"));
        framer.take();
        QVERIFY(framer.next() == nullptr);
        QCOMPARE(framer.rest(), QString("  C"));
        QCOMPARE(framer.size(), 3);
    }

    void drop()
    {
        LineFramer framer(limit);
        framer.feed("A\rB\rC");
        QCOMPARE(*framer.next(), QString("A"));
        framer.drop();
        QVERIFY(framer.next() == nullptr);
        QCOMPARE(framer.size(), 0);
        QCOMPARE(linesOf(framer, "D\n"), QStringList{"D"});
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestFraming)

} // namespace console::tst_framing

#include "tst_framing.moc"
