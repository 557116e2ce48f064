// SPDX-License-Identifier: Apache-2.0
#include "bytes/Blake2b.h"
#include "signing/Verdict.h"
#include "support/SigningCases.h"
#include "support/TestCase.h"

#include <QtTest>

namespace signing::tst_minisign {

using bytes::Blake2b;

using Kind = Verdict::Kind;
using Reason = Verdict::Reason;

namespace {

QByteArray digestOf(const QByteArray &bytes)
{
    Blake2b digest;
    digest.add(bytes.constData(), bytes.size());
    return digest.digest();
}

QByteArray withText(const QByteArray &file, int line, const QByteArray &text)
{
    return withLine(file, line, [&text](const QByteArray &) { return text; });
}

QByteArray longer(const QByteArray &file, int line, const QByteArray &more)
{
    return withText(file, line, file.split('\n').at(line) + more);
}

QByteArray withFlip(const QByteArray &file, int line, int byte, int mask = 1)
{
    return withText(file, line, flipped(file.split('\n').at(line), byte, mask));
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
        const tests::DataTable<QString> row("comment");
        for (const char *comment : {"x", "release 4, built 2026-11-22", " blanks  ", "tab\there",
                                    "\x1b[31mred", "\xc3\xa9"})
            row(comment);
        row("long", QString(1000, 'c'));
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
        const tests::DataTable<QByteArray> row("file");
        const QByteArray line = m_key.split('\n').at(1);
        const QByteArray bytes = QByteArray::fromBase64(line);
        row("as made", m_key);
        row("CRLF", QByteArray(m_key).replace("\n", "\r\n"));
        row("CR only", QByteArray(m_key).replace("\n", "\r"));
        row("no last newline", m_key.trimmed());
        row("more lines", m_key + "and more\n\n");
        row("other comment", withText(m_key, 0, "mine"));
        row("empty comment", withText(m_key, 0, ""));
        row("NUL in comment", withText(m_key, 0, QByteArray("a\0b", 3)));
        row("no comment", line);
        row("empty line first", "\n" + m_key);
        row("empty", "");
        row("CRs", longer(m_key, 1, "\r\r\r"));
        row("blank before", withText(m_key, 1, " " + line));
        row("blank after", longer(m_key, 1, " "));
        row("digits after", longer(m_key, 1, "AAAA"));
        row("NUL after", longer(m_key, 1, QByteArray("\0x", 2)));
        row("a digit less", withText(m_key, 1, line.left(55)));
        row("foreign digit", withText(m_key, 1, QByteArray(line).replace(20, 1, "*")));
        row("41 bytes", withText(m_key, 1, bytes.left(41).toBase64()));
        row("43 bytes", withText(m_key, 1, (bytes + 'x').toBase64()));
        row("algorithm ED", withFlip(m_key, 1, 1, 'd' ^ 'D'));
        row("algorithm", withFlip(m_key, 1, 0));
        row("key", withFlip(m_key, 1, 41, 64));
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
        const tests::DataTable<QByteArray, QByteArray> row("file", "reason");
        const QByteArray &made = m_signature;
        const QList<QByteArray> lines = made.split('\n');
        const QByteArray nul("\0x", 2);
        row("as made", made, "");
        row("CRLF", QByteArray(made).replace("\n", "\r\n"), "");
        row("no last newline", made.trimmed(), "");
        row("more lines", made + "and\nmore\n", "");
        row("other untrusted comment", withText(made, 0, "untrusted comment: mine"), "");
        row("no untrusted comment", withText(made, 0, "untrusted comment: "), "");
        row("CRs after the trusted comment", longer(made, 2, "\r\r"), "");
        row("NUL after the last signature", longer(made, 3, nul), "");
        QByteArray last = lines.at(3);
        ++last.data()[85];
        row("unused bits of the last digit", withText(made, 3, last), "");
        row("key id", withFlip(made, 1, 5), "");

        const QByteArray malformed = wordOf(Reason::Malformed);
        row("CR only", QByteArray(made).replace("\n", "\r"), malformed);
        row("empty", "", malformed);
        row("binary", QByteArray("\xff\xfe\0\n\x80\n", 6), malformed);
        row("BOM", "\xef\xbb\xbf" + made, malformed);
        row("empty line first", "\n" + made, malformed);
        row("no prefix", withText(made, 0, "mine"), malformed);
        row("NUL in the untrusted comment", longer(made, 0, nul), malformed);
        row("blank before", withText(made, 1, " " + lines.at(1)), malformed);
        row("blanks after", longer(made, 1, "  "), malformed);
        row("a digit more", longer(made, 1, "A"), malformed);
        row("no padding", withText(made, 1, QByteArray(lines.at(1)).replace("=", "")), malformed);
        row("algorithm", withFlip(made, 1, 0), malformed);
        row("NUL in the trusted comment", longer(made, 2, nul), malformed);
        row("no trusted comment", withText(made, 2, "release 4"), malformed);
        row("blanks after the last signature", longer(made, 3, "  "), malformed);
        row("last signature without padding", withText(made, 3, lines.at(3).left(86)), malformed);
        for (int count = 1; count < 4; ++count)
            row(QByteArray::number(count) + " lines", lines.mid(0, count).join('\n') + '\n',
                malformed);

        const QByteArray wrongSignature = wordOf(Reason::WrongSignature);
        row("signature", withFlip(made, 1, 40), wrongSignature);
        row("of another file", m_tool.sign("another package", "one", "release 5"), wrongSignature);
        const QByteArray wrongComment = wordOf(Reason::WrongComment);
        row("trusted comment", longer(made, 2, "!"), wrongComment);
        row("blank after the trusted comment", longer(made, 2, " "), wrongComment);
        row("last signature", withFlip(made, 3, 30), wrongComment);
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
                const QByteArray file = withFlip(m_signature, number, bit / 8, 1 << bit % 8);
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

private:
    Verdict verdict(const QByteArray &signature, const QList<QByteArray> &keyFiles) const
    {
        std::vector<PublicKey> keys;
        for (const QByteArray &file : keyFiles) {
            if (const auto key = parsePublicKey(file))
                keys.push_back(*key);
        }
        return judge(signature, keys, digestOf(m_file));
    }

    MinisignTool m_tool;
    const QByteArray m_file = "a firmware package";
    QByteArray m_key;
    QByteArray m_signature;
};

AGENT_TEST_WITHOUT_APPLICATION(TestMinisign)

} // namespace signing::tst_minisign

#include "tst_minisign.moc"
