// SPDX-License-Identifier: Apache-2.0
#include "bytes/Blake2b.h"
#include "signing/Verdict.h"
#include "support/SigningCases.h"
#include "support/TestCase.h"

#include <QtTest>

#include <functional>

namespace tst_minisign {

using bytes::Blake2b;
using signing::judge;
using signing::keyIdText;
using signing::lineOf;
using signing::parsePublicKey;
using signing::parseSignature;
using signing::PublicKey;
using signing::Verdict;
using signing::wordOf;

using Kind = Verdict::Kind;
using Reason = Verdict::Reason;

namespace {

QByteArray digestOf(const QByteArray &bytes)
{
    Blake2b digest;
    digest.add(bytes.constData(), bytes.size());
    return digest.digest();
}

} // namespace

/** The module's verdict on keys and signatures, compared with that of the program minisign. */
class TestMinisign : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_key = m_tool.makeKey("one");
        m_signature = m_tool.sign(m_file, "one", "release 4");
        QVERIFY(parsePublicKey(m_key));
        QVERIFY(m_tool.accepts(m_file, m_key, m_signature));
    }

    /** The first two are the test vectors of RFC 7693 and of an empty message; the program b2sum
     *  computes the rest. */
    void digests()
    {
        QCOMPARE(digestOf("abc").toHex(),
                 QByteArray("ba80a53f981c4d0d6a2797b69f12f6e94c212f14685ac4b74b12bb6fdbffa2d1"
                            "7d87c5392aab792dc252d5de4533cc9518d38aa8dbf1925ab92386edd4009923"));
        QCOMPARE(digestOf("").toHex(),
                 QByteArray("786a02f742015903c6c6fd852552d272912f4740e15847618a86e217f71f5419"
                            "d25e1031afee585313896444934eb04b903a685b1448b755d56f701afe9be2ce"));
        const QByteArray large(100'000, 'x');
        m_tool.store("large", large);
        QProcess sum;
        sum.start("b2sum", {m_tool.path("large")});
        QVERIFY(sum.waitForFinished(-1));
        Blake2b pieces;
        for (int i = 0; i < large.size(); i += 777)
            pieces.add(large.constData() + i, std::min(777, int(large.size()) - i));
        QCOMPARE(pieces.digest().toHex(), sum.readAll().left(128));
    }

    void keyIds()
    {
        QCOMPARE(keyIdText(0xFD42D863A26F780C), QString("FD42D863A26F780C"));
        QCOMPARE(keyIdText(0x00ABC), QString("ABC"));
        QCOMPARE(keyIdText(0), QString("0"));
        // The program prints the id into the comment of a key's file.
        const QByteArray printed = m_key.split('\n').first().split(' ').last();
        QCOMPARE(keyIdText(parsePublicKey(m_key)->id).toLatin1(), printed);
    }

    void acceptsWhatItSigned_data()
    {
        QTest::addColumn<QString>("comment");
        for (const char *comment : {"x", "release 4, built 2026-11-22", " blanks  ", "tab\there",
                                    "\x1b[31mred", "\xc3\xa9"})
            QTest::newRow(comment) << QString::fromUtf8(comment);
        QTest::newRow("long") << QString(1000, 'c');
    }

    void acceptsWhatItSigned()
    {
        QFETCH(QString, comment);
        const Verdict result = verdict(m_tool.sign(m_file, "one", comment), {m_key});
        QCOMPARE(result.kind, Kind::Trusted);
        QCOMPARE(result.trustedComment, comment.toUtf8());
        QCOMPARE(result.keyId, parsePublicKey(m_key)->id);
        QCOMPARE(lineOf(result),
                 QString("Firmware package signature ok, key %1.").arg(keyIdText(*result.keyId)));
    }

    void keyFiles_data()
    {
        QTest::addColumn<QByteArray>("file");
        const auto row = [](const char *name, const QByteArray &file) {
            QTest::newRow(name) << file;
        };
        const auto key = [this](const std::function<QByteArray(const QByteArray &line)> &change) {
            return withLine(m_key, 1, change);
        };
        row("as made", m_key);
        row("CRLF", QByteArray(m_key).replace("\n", "\r\n"));
        row("CR only", QByteArray(m_key).replace("\n", "\r"));
        row("no last newline", m_key.trimmed());
        row("more lines", m_key + "and more\n\n");
        row("other comment", withLine(m_key, 0, [](auto &) { return "mine"; }));
        row("empty comment", withLine(m_key, 0, [](auto &) { return ""; }));
        row("NUL in comment", withLine(m_key, 0, [](auto &) { return QByteArray("a\0b", 3); }));
        row("no comment", m_key.split('\n').at(1));
        row("empty line first", "\n" + m_key);
        row("empty", "");
        row("CRs", key([](auto &line) { return line + "\r\r\r"; }));
        row("blank before", key([](auto &line) { return " " + line; }));
        row("blank after", key([](auto &line) { return line + " "; }));
        row("digits after", key([](auto &line) { return line + "AAAA"; }));
        row("NUL after", key([](auto &line) { return line + QByteArray("\0x", 2); }));
        row("a digit less", key([](auto &line) { return line.left(55); }));
        row("foreign digit", key([](auto &line) { return QByteArray(line).replace(20, 1, "*"); }));
        row("41 bytes",
            key([](auto &line) { return QByteArray::fromBase64(line).left(41).toBase64(); }));
        row("43 bytes",
            key([](auto &line) { return (QByteArray::fromBase64(line) + 'x').toBase64(); }));
        row("algorithm ED", key([](auto &line) { return flipped(line, 1, 'd' ^ 'D'); }));
        row("algorithm", key([](auto &line) { return flipped(line, 0); }));
        row("key", key([](auto &line) { return flipped(line, 41, 64); }));
        row("binary", QByteArray("\xff\xfe\0\n\x80\n", 6));
    }

    void keyFiles()
    {
        QFETCH(QByteArray, file);
        QCOMPARE(verdict(m_signature, {file}).kind == Kind::Trusted,
                 m_tool.accepts(m_file, file, m_signature));
    }

    void signatureFiles_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("reason");
        const auto row = [](const char *name, const QByteArray &file, const char *reason = "") {
            QTest::newRow(name) << file << QByteArray(reason);
        };
        const auto line = [this](int number, auto change) {
            return withLine(m_signature, number, change);
        };
        const QByteArray comment = m_signature.split('\n').at(2);
        const auto malformed = wordOf(Reason::Malformed);
        row("as made", m_signature);
        row("CRLF", QByteArray(m_signature).replace("\n", "\r\n"));
        row("no last newline", m_signature.trimmed());
        row("more lines", m_signature + "and\nmore\n");
        row("other untrusted comment", line(0, [](auto &) { return "untrusted comment: mine"; }));
        row("no untrusted comment", line(0, [](auto &) { return "untrusted comment: "; }));
        row("CRs after the trusted comment", line(2, [](auto &text) { return text + "\r\r"; }));
        row("NUL after the last signature",
            line(3, [](auto &text) { return text + QByteArray("\0x", 2); }));
        row("unused bits of the last digit", line(3, [](auto &text) {
                return QByteArray(text).replace(85, 1, QByteArray(1, char(text.at(85) + 1)));
            }));
        row("CR only", QByteArray(m_signature).replace("\n", "\r"), malformed);
        row("empty", "", malformed);
        row("binary", QByteArray("\xff\xfe\0\n\x80\n", 6), malformed);
        row("BOM", "\xef\xbb\xbf" + m_signature, malformed);
        row("empty line first", "\n" + m_signature, malformed);
        row("no prefix", line(0, [](auto &) { return "mine"; }), malformed);
        row("NUL in the untrusted comment",
            line(0, [](auto &text) { return text + QByteArray("\0x", 2); }), malformed);
        row("blank before", line(1, [](auto &text) { return " " + text; }), malformed);
        row("blanks after", line(1, [](auto &text) { return text + "  "; }), malformed);
        row("a digit more", line(1, [](auto &text) { return text + "A"; }), malformed);
        row("no padding", line(1, [](auto &text) { return QByteArray(text).replace("=", ""); }),
            malformed);
        row("algorithm", line(1, [](auto &text) { return flipped(text, 0); }), malformed);
        row("key id", line(1, [](auto &text) { return flipped(text, 5); }));
        row("signature", line(1, [](auto &text) { return flipped(text, 40); }),
            wordOf(Reason::WrongSignature));
        row("trusted comment", line(2, [](auto &text) { return text + "!"; }),
            wordOf(Reason::WrongComment));
        row("blank after the trusted comment", line(2, [](auto &text) { return text + " "; }),
            wordOf(Reason::WrongComment));
        row("NUL in the trusted comment",
            line(2, [](auto &text) { return text + QByteArray("\0x", 2); }), malformed);
        row("no trusted comment", line(2, [](auto &) { return "release 4"; }), malformed);
        row("last signature", line(3, [](auto &text) { return flipped(text, 30); }),
            wordOf(Reason::WrongComment));
        row("blanks after the last signature", line(3, [](auto &text) { return text + "  "; }),
            malformed);
        row("last signature without padding", line(3, [](auto &text) { return text.left(86); }),
            malformed);
        for (int lines = 1; lines < 4; ++lines)
            row(QByteArray::number(lines) + " lines",
                m_signature.split('\n').mid(0, lines).join('\n') + '\n', malformed);
    }

    void signatureFiles()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, reason);
        const Verdict result = verdict(file, {m_key});
        QCOMPARE(result.kind == Kind::Trusted, m_tool.accepts(m_file, m_key, file));
        QCOMPARE(QByteArray(wordOf(result.reason)), reason);
        QVERIFY(result.kind == Kind::Trusted || result.trustedComment.isEmpty());
    }

    void everyBitOfTheSignatureCounts()
    {
        for (const int number : {1, 3}) {
            const int size = QByteArray::fromBase64(m_signature.split('\n').at(number)).size();
            for (int bit = 0; bit < size * 8; ++bit) {
                const QByteArray file = withLine(m_signature, number, [bit](auto &line) {
                    return flipped(line, bit / 8, 1 << bit % 8);
                });
                QVERIFY2(verdict(file, {m_key}).kind != Kind::Trusted, file.constData());
            }
        }
    }

    void refusesLegacySignatures()
    {
        const QByteArray legacy = m_tool.sign(m_file, "one", "old", {"-l"});
        // It signs the file itself, and the program still accepts it.
        QVERIFY(m_tool.accepts(m_file, m_key, legacy));
        const Verdict result = verdict(legacy, {m_key});
        QCOMPARE(result.kind, Kind::SignatureError);
        QCOMPARE(result.reason, Reason::Legacy);
        QCOMPARE(lineOf(result), QString("Firmware package signature error, upgrade fail."));
    }

    void unknownKeys()
    {
        const QByteArray other = m_tool.makeKey("other");
        const Verdict result = verdict(m_signature, {other});
        QCOMPARE(result.kind, Kind::UnknownKey);
        QCOMPARE(lineOf(result),
                 QString("Firmware package is signed by an unknown key %1, upgrade fail.")
                     .arg(keyIdText(parsePublicKey(m_key)->id)));
        QCOMPARE(verdict(m_signature, {other, m_key}).kind, Kind::Trusted);
        QCOMPARE(verdict(m_signature, {}).kind, Kind::UnknownKey);
    }

    /** Anyone can make a key with the id of another one. */
    void keysWithOneId()
    {
        const QByteArray other = m_tool.makeKey("other");
        const QByteArray forged = withLine(other, 1, [this](const QByteArray &line) {
            const QByteArray own = QByteArray::fromBase64(m_key.split('\n').at(1));
            return (own.left(10) + QByteArray::fromBase64(line).mid(10)).toBase64();
        });
        QCOMPARE(parsePublicKey(forged)->id, parsePublicKey(m_key)->id);
        QCOMPARE(verdict(m_signature, {forged}).reason, Reason::WrongSignature);
        QCOMPARE(verdict(m_signature, {forged, m_key}).kind, Kind::Trusted);
        QCOMPARE(verdict(m_signature, {m_key, forged}).kind, Kind::Trusted);
    }

    void otherFile()
    {
        const QByteArray signature = m_tool.sign("another package", "one", "release 5");
        QVERIFY(!m_tool.accepts(m_file, m_key, signature));
        QCOMPARE(verdict(signature, {m_key}).reason, Reason::WrongSignature);
    }

private:
    Verdict verdict(const QByteArray &signature, const QList<QByteArray> &keyFiles) const;

    MinisignTool m_tool;
    const QByteArray m_file = "a firmware package";
    QByteArray m_key;
    QByteArray m_signature;
};

Verdict TestMinisign::verdict(const QByteArray &signature, const QList<QByteArray> &keyFiles) const
{
    std::vector<PublicKey> keys;
    for (const QByteArray &file : keyFiles) {
        if (const auto key = parsePublicKey(file))
            keys.push_back(*key);
    }
    return judge(signature, keys, digestOf(m_file));
}

AGENT_TEST_WITHOUT_APPLICATION(TestMinisign)

} // namespace tst_minisign

#include "tst_minisign.moc"
