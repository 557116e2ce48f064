// SPDX-License-Identifier: Apache-2.0
// Texts made safe for a terminal, and words that are nearly right.
#include "common/NearestWord.h"
#include "common/Printable.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_words {

class TestWords : public QObject
{
    Q_OBJECT

private slots:
    void printableTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("safe");
        QTest::newRow("plain") << "MAIN-A, B"
                               << "MAIN-A, B";
        QTest::newRow("escape and line feed") << "a\x1b[2Jb\nc"
                                              << "a\\u001b[2Jb\\u000ac";
        QTest::newRow("C1 control") << QString(QChar(0x9b)) << "\\u009b";
        QTest::newRow("right-to-left override") << QString(QChar(0x202e)) << "\\u202e";
        QTest::newRow("letter") << QString(QChar(0xc4)) << QString(QChar(0xc4));
        const QString face = QString::fromUcs4(U"\U0001f600");
        QTest::newRow("beyond 16 bits") << face << face;
        QTest::newRow("a tag beyond 16 bits")
            << QString::fromUcs4(U"\U000e0001x") << "\\udb40\\udc01x";
        QTest::newRow("half a character") << face.left(1) + "x"
                                          << "\\ud83dx";
    }

    void printableTexts()
    {
        QFETCH(QString, text);
        QTEST(printable(text), "safe");
    }

    void distances_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("distance");
        const auto row = [](const char *a, const char *b, int distance) {
            QTest::newRow(qPrintable(QStringLiteral("%1-%2").arg(a, b)))
                << QString(a) << QString(b) << distance;
        };
        row("", "", 0);
        row("", "abc", 3);
        row("list", "list", 0);
        row("lst", "list", 1);
        row("ilst", "list", 1);
        row("kitten", "sitting", 3);
        row("ca", "abc", 3); // a swap is not divided by an insertion
        row("upgrdae", "upgrade", 1);
    }

    void distances()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QTEST(editDistance(a, b), "distance");
        QTEST(editDistance(b, a), "distance");
    }

    void nearest_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("found");
        QTest::newRow("a letter lost") << "lst"
                                       << "list";
        QTest::newRow("a swap") << "ilst"
                                << "list";
        QTest::newRow("two slips") << "extratc"
                                   << "extract";
        QTest::newRow("another word") << "explode"
                                      << "";
        QTest::newRow("one letter") << "x"
                                    << "";
        QTest::newRow("nothing") << ""
                                 << "";
        QTest::newRow("the nearer one") << "verifx"
                                        << "verify";
    }

    void nearest()
    {
        QFETCH(QString, word);
        QTEST(nearestWord(word, {"info", "verify", "verity", "list", "extract"}), "found");
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestWords)

} // namespace tst_words

#include "tst_words.moc"
