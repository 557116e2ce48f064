// SPDX-License-Identifier: Apache-2.0
// Texts made safe for a terminal, and words that are nearly right.
#include "common/NearestWord.h"
#include "common/Printable.h"
#include "support/TestCase.h"

namespace tst_words {

class TestWords : public QObject
{
    Q_OBJECT

private slots:
    void printableTexts_data()
    {
        const tests::DataTable<QString, QString> rows("text", "safe");
        const QString face = QString::fromUcs4(U"\U0001f600");
        rows("plain", "MAIN-A, B", "MAIN-A, B");
        rows("escape and line feed", "a\x1b[2Jb\nc", "a\\u001b[2Jb\\u000ac");
        rows("C1 control", QChar(0x9b), "\\u009b");
        rows("right-to-left override", QChar(0x202e), "\\u202e");
        rows("letter", QChar(0xc4), QChar(0xc4));
        rows("beyond 16 bits", face, face);
        rows("a tag beyond 16 bits", QString::fromUcs4(U"\U000e0001x"), "\\udb40\\udc01x");
        rows("half a character", face.left(1) + "x", "\\ud83dx");
    }

    void printableTexts()
    {
        QFETCH(QString, text);
        QTEST(printable(text), "safe");
    }

    void distances_data()
    {
        const tests::DataTable<QString, QString, int> rows("a", "b", "distance");
        rows("nothing", "", "", 0);
        rows("", "abc", 3);
        rows("list", "list", 0);
        rows("lst", "list", 1);
        rows("ilst", "list", 1);
        rows("kitten", "sitting", 3);
        rows("ca", "abc", 3); // a swap is not divided by an insertion
        rows("upgrdae", "upgrade", 1);
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
        const tests::DataTable<QString, QString> rows("word", "found");
        rows("a letter lost", "lst", "list");
        rows("a swap", "ilst", "list");
        rows("two slips", "extratc", "extract");
        rows("another word", "explode", "");
        rows("one letter", "x", "");
        rows("nothing", "", "");
        rows("the nearer one", "verifx", "verify");
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
