// SPDX-License-Identifier: Apache-2.0
#include "support/SigningCases.h"
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

namespace tst_signatures {

QString idOf(const QJsonObject &document)
{
    return document.value("error").toObject().value("id").toString();
}

/** What verify and info say about signatures, compared with the program minisign. */
class TestSignatures : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_tool.makeKey("other");
        m_files.package = fileBytes(goldenPath("good"));
        m_files.key = m_tool.makeKey("one");
        m_files.signature = m_tool.sign(m_files.package, "one", "release 4");
        // The program prints the id into the comment of a key's file.
        m_id = m_files.key.split('\n').first().split(' ').last();
    }

    void init()
    {
        m_fwm.reset(new Fwm);
        store(m_files);
    }

    void verdicts_data()
    {
        QTest::addColumn<SigningCase>("test");
        for (const SigningCase &one : signingCases())
            QTest::newRow(one.name) << one;
    }

    void verdicts()
    {
        QFETCH(SigningCase, test);
        SignedPackage files = m_files;
        test.change(files, m_tool);
        QCOMPARE(m_tool.accepts(files.package, files.key, files.signature), test.isAccepted);
        store(files);

        const QJsonObject document = verified();
        const QMap<QString, QPair<int, QString>> results{
            {"trusted", {0, ""}},
            {"unknown-key", {9, "package-key-unknown"}},
            {"wrong", {9, "package-signature-wrong"}},
            {"damaged", {7, "findings"}},
        };
        const auto expected = results.value(test.state);
        QCOMPARE(document.value("exit").toInt(), expected.first);
        QCOMPARE(idOf(document), expected.second);
        const bool isDamaged = qstrcmp(test.state, "damaged") == 0;
        const QJsonObject signature = document.value("signature").toObject();
        QCOMPARE(signature.value("state").toString(),
                 QString(isDamaged ? "not-checked" : test.state));
        QCOMPARE(signature.value("reason").toString(), QString(test.reason));
        QCOMPARE(signature.value("verified").toBool(), expected.first == 0);
        QCOMPARE(signature.value("key").isNull(), qstrcmp(test.reason, "malformed") == 0);
    }

    void otherFilesAsSignatures_data()
    {
        QTest::addColumn<QString>("make");
        QTest::addColumn<QString>("error");
        QTest::newRow("none") << "true"
                              << "package-not-signed";
        QTest::newRow("huge") << "truncate -s 1G FW.fwm.minisig"
                              << "package-signature-wrong";
        QTest::newRow("FIFO") << "mkfifo FW.fwm.minisig"
                              << "package-signature-wrong";
        QTest::newRow("folder") << "mkdir FW.fwm.minisig"
                                << "package-signature-wrong";
        QTest::newRow("device") << "ln -s /dev/zero FW.fwm.minisig"
                                << "package-signature-wrong";
        QTest::newRow("dangling link") << "ln -s none FW.fwm.minisig"
                                       << "package-signature-wrong";
        QTest::newRow("link to a signature") << "ln -s kept FW.fwm.minisig"
                                             << "";
    }

    void otherFilesAsSignatures()
    {
        QFETCH(QString, make);
        QFETCH(QString, error);
        QCOMPARE(m_fwm->shell("mv FW.fwm.minisig kept; " + make).status, 0);
        const QJsonObject document = verified();
        QCOMPARE(idOf(document), error);
        QCOMPARE(document.value("exit").toInt(), error.isEmpty() ? 0 : 9);
    }

    void linesForPeople()
    {
        const auto verify = [this] {
            return m_fwm->run({"verify", "FW.fwm", "--keys", "one.pub"});
        };
        const Ran trusted = verify();
        QCOMPARE(trusted.status, 0);
        QCOMPARE(trusted.err, QByteArray());
        QCOMPARE(trusted.out, "FW.fwm: signature ok, key " + m_id + ": release 4\n" +
                                  "FW.fwm: good, 3 images, checksum e4bb7d1\n");

        m_fwm->write("FW.fwm.minisig", m_tool.sign("other", "one", "release 4"));
        const Ran wrong = verify();
        QCOMPARE(wrong.out, "FW.fwm: signature WRONG, key " + m_id + ": it signs other bytes\n");
        QCOMPARE(wrong.err.split('\n').first(),
                 QByteArray("fwm: error: the signature is not a valid signature of this package: "
                            "FW.fwm.minisig: it signs other bytes"));

        m_fwm->write("one.pub", m_tool.load("other.pub"));
        const Ran unknown = verify();
        QCOMPARE(unknown.out, "FW.fwm: signature of an unknown key, key " + m_id + "\n");
        QCOMPARE(
            unknown.err.split('\n').first(),
            "fwm: error: the package is signed by a key that is not trusted: FW.fwm.minisig: key " +
                m_id);

        QVERIFY(QFile::remove(m_fwm->path("FW.fwm.minisig")));
        const Ran unsignedPackage = verify();
        QCOMPARE(unsignedPackage.out, QByteArray());
        QCOMPARE(unsignedPackage.err.split('\n').first(),
                 QByteArray("fwm: error: the package is not signed: FW.fwm"));
    }

    void withoutKeys()
    {
        QCOMPARE(m_fwm->run({"verify", "FW.fwm"}).out,
                 "FW.fwm: signature not checked, key " + m_id + "\n" +
                     "FW.fwm: good, 3 images, checksum e4bb7d1\n");
        QJsonObject signature = verified({}).value("signature").toObject();
        QCOMPARE(signature.value("state").toString(), QString("not-checked"));
        QCOMPARE(signature.value("key").toString(), QString(m_id));
        QCOMPARE(signature.value("trusted_comment").toString(), QString("release 4"));
        QCOMPARE(signature.value("verified"), QJsonValue(false));

        m_fwm->write("FW.fwm.minisig", "broken");
        const Ran broken = m_fwm->run({"verify", "FW.fwm"});
        QCOMPARE(broken.status, 0);
        QVERIFY(
            broken.out.startsWith("FW.fwm: signature not checked: it is not a signature file of "
                                  "minisign\n"));

        QVERIFY(QFile::remove(m_fwm->path("FW.fwm.minisig")));
        QCOMPARE(m_fwm->run({"verify", "FW.fwm"}).out,
                 QByteArray("FW.fwm: good, 3 images, checksum e4bb7d1\n"));
        signature = verified({}).value("signature").toObject();
        QCOMPARE(signature.value("state").toString(), QString("none"));
        QVERIFY(!m_fwm->run({"info", "FW.fwm"}).out.contains("Signature"));
    }

    void infoForPeople()
    {
        const auto rows = [this](const QStringList &more) {
            const QByteArray out = m_fwm->run(QStringList{"info", "FW.fwm"} + more).out;
            const int start = out.indexOf("Signature");
            return out.mid(start, out.indexOf("\n\n") - start);
        };
        QCOMPARE(rows({}), "Signature  not checked, key " + m_id + "\n" +
                               "Comment    (unverified) release 4");
        QCOMPARE(rows({"--keys", "one.pub"}),
                 "Signature  ok, key " + m_id + "\n" + "Comment    release 4");
        m_fwm->write("FW.fwm.minisig",
                     withLine(m_files.signature, 2, [](auto &line) { return line + "2"; }));
        QCOMPARE(rows({"--keys", "one.pub"}), "Signature  WRONG, key " + m_id +
                                                  ": its trusted comment was changed\n" +
                                                  "Comment    (unverified) release 42");
    }

    void wrongKeys_data()
    {
        QTest::addColumn<QString>("make");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("named");
        QTest::newRow("no such file") << "true"
                                      << "none"
                                      << "none";
        QTest::newRow("empty file") << "touch empty"
                                    << "empty"
                                    << "empty";
        QTest::newRow("secret key") << "echo x > secret"
                                    << "secret"
                                    << "secret";
        QTest::newRow("FIFO") << "mkfifo pipe"
                              << "pipe"
                              << "pipe";
        QTest::newRow("huge file") << "truncate -s 1G huge"
                                   << "huge"
                                   << "huge";
        QTest::newRow("folder without keys") << "mkdir keys; cp one.pub keys/README"
                                             << "keys"
                                             << "no name in 'keys' ends in .pub";
        QTest::newRow("folder with one broken key")
            << "mkdir keys; cp one.pub keys/a.pub; echo > keys/b.pub"
            << "keys"
            << "keys/b.pub";
        QTest::newRow("folder with a dangling link")
            << "mkdir keys; cp one.pub keys/a.pub; ln -s none keys/b.pub"
            << "keys"
            << "keys/b.pub";
    }

    void wrongKeys()
    {
        QFETCH(QString, make);
        QFETCH(QString, keys);
        QFETCH(QString, named);
        QCOMPARE(m_fwm->shell(make).status, 0);
        for (const char *command : {"verify", "info"}) {
            const Ran ran = m_fwm->run({command, "FW.fwm", "--keys", keys});
            QCOMPARE(ran.status, 2);
            QCOMPARE(ran.out, QByteArray());
            QVERIFY2(ran.err.startsWith("fwm: error: the command line is wrong: --keys: "),
                     ran.err.constData());
            QVERIFY2(ran.err.contains(named.toUtf8()), ran.err.constData());
        }
    }

    void folderOfKeys()
    {
        QCOMPARE(m_fwm->shell("mkdir keys; echo read me > keys/README").status, 0);
        for (int i = 0; i < 99; ++i)
            m_fwm->write(QStringLiteral("keys/%1.pub").arg(i), m_tool.load("other.pub"));
        QCOMPARE(idOf(verified({"--keys", "keys"})), QString("package-key-unknown"));
        m_fwm->write("keys/last.pub", m_files.key);
        QCOMPARE(verified({"--keys", "keys"}).value("exit").toInt(), 0);
        QCOMPARE(m_fwm->shell("ln -s keys link").status, 0);
        QCOMPARE(verified({"--keys", "link"}).value("exit").toInt(), 0);
    }

    void signatureElsewhere()
    {
        QCOMPARE(m_fwm->shell("mv FW.fwm.minisig other.minisig").status, 0);
        QCOMPARE(idOf(verified()), QString("package-not-signed"));
        const QStringList named{"--keys", "one.pub", "--signature", "other.minisig"};
        QCOMPARE(verified(named).value("exit").toInt(), 0);
        QCOMPARE(verified(named).value("signature").toObject().value("file").toString(),
                 QString("other.minisig"));
        const QJsonObject missing = verified({"--keys", "one.pub", "--signature", "none"});
        QCOMPARE(idOf(missing), QString("file-unreadable"));
        QCOMPARE(missing.value("exit").toInt(), 1);
    }

    void commentsCannotChangeTheTerminal()
    {
        m_fwm->write("FW.fwm.minisig", m_tool.sign(m_files.package, "one", "\x1b[31mred"));
        for (const char *command : {"verify", "info"}) {
            for (const QStringList &keys : {QStringList(), QStringList{"--keys", "one.pub"}}) {
                const QByteArray out = m_fwm->run(QStringList{command, "FW.fwm"} + keys).out;
                QVERIFY(!out.contains('\x1b'));
            }
        }
        QVERIFY(m_fwm->run({"info", "FW.fwm"}).out.contains("\\u001b[31mred"));
    }

    void damagedPackagesAreNotChecked()
    {
        m_fwm->write("FW.fwm", fileBytes(goldenPath("checksum-wrong")));
        const Ran ran = m_fwm->run({"verify", "FW.fwm", "--keys", "one.pub"});
        QCOMPARE(ran.status, 7);
        QVERIFY(ran.out.contains("FW.fwm: signature not checked, key " + m_id + "\n"));
        // What is wrong inside of a package is known only when its signature is right.
        m_fwm->write("FW.fwm", fileBytes(goldenPath("net-md5-wrong")));
        QCOMPARE(idOf(verified()), QString("package-signature-wrong"));
        m_fwm->write("FW.fwm.minisig",
                     m_tool.sign(fileBytes(goldenPath("net-md5-wrong")), "one", "release 4"));
        QCOMPARE(m_fwm->run({"verify", "FW.fwm", "--keys", "one.pub"}).status, 7);
    }

private:
    void store(const SignedPackage &files) const;
    QJsonObject verified(const QStringList &more = {"--keys", "one.pub"}) const;

    MinisignTool m_tool;
    SignedPackage m_files;
    QByteArray m_id;
    QScopedPointer<Fwm> m_fwm;
};

void TestSignatures::store(const SignedPackage &files) const
{
    m_fwm->write("FW.fwm", files.package);
    m_fwm->write("FW.fwm.minisig", files.signature);
    m_fwm->write("one.pub", files.key);
}

/** The document of verify; info has the same exit status, error and signature. */
QJsonObject TestSignatures::verified(const QStringList &more) const
{
    const QJsonObject verify = m_fwm->run(QStringList{"verify", "FW.fwm", "--json"} + more).json();
    const QJsonObject info = m_fwm->run(QStringList{"info", "FW.fwm", "--json"} + more).json();
    for (const char *member : {"exit", "signature"}) {
        if (info.value(member) != verify.value(member))
            return {};
    }
    return verify;
}

AGENT_TEST(TestSignatures)

} // namespace tst_signatures

#include "tst_signatures.moc"
