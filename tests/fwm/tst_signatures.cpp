// SPDX-License-Identifier: Apache-2.0
#include "support/SigningCases.h"
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

namespace tst_signatures {

/** What verify and info say about signatures, compared with the program minisign. */
class TestSignatures : public QObject, private Fwm
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
        renew();
        store(m_files);
    }

    void verdicts_data()
    {
        const tests::DataTable<SigningCase> row("test");
        for (const SigningCase &one : signingCases())
            row(one.name, one);
    }

    void verdicts()
    {
        QFETCH(SigningCase, test);
        SignedPackage files = m_files;
        test.change(files, m_tool);
        QCOMPARE(m_tool.accepts(files.package, files.key, files.signature), test.isAccepted);
        store(files);

        const Ran ran = verified();
        const QMap<QString, QString> problems{
            {"trusted", "0 "},
            {"unknown-key", "9 package-key-unknown"},
            {"wrong", "9 package-signature-wrong"},
            {"damaged", "7 findings"},
        };
        QCOMPARE(ran.problem(), problems.value(test.state));
        const bool isDamaged = qstrcmp(test.state, "damaged") == 0;
        QCOMPARE(ran.at("signature.state").toString(),
                 QString(isDamaged ? "not-checked" : test.state));
        QCOMPARE(ran.at("signature.reason").toString(), QString(test.reason));
        QCOMPARE(ran.at("signature.verified").toBool(), ran.status == 0);
        QCOMPARE(ran.at("signature.key").isNull(), qstrcmp(test.reason, "malformed") == 0);
    }

    void otherFilesAsSignatures_data()
    {
        const tests::DataTable<QString, QString> row("make", "problem");
        row("none", "true", "9 package-not-signed");
        row("huge", "truncate -s 1G FW.fwm.minisig", "9 package-signature-wrong");
        row("dangling link", "ln -s none FW.fwm.minisig", "9 package-signature-wrong");
        row("link to a signature", "ln -s kept FW.fwm.minisig", "0 ");
    }

    void otherFilesAsSignatures()
    {
        QFETCH(QString, make);
        QCOMPARE(shell("mv FW.fwm.minisig kept; " + make).status, 0);
        QTEST(verified().problem(), "problem");
    }

    void linesForPeople()
    {
        const auto verify = [this] {
            const Ran ran = run("verify FW.fwm --keys one.pub");
            return ran.out + ran.err.split('\n').first();
        };
        QCOMPARE(verify(), "FW.fwm: signature ok, key " + m_id +
                               ": release 4\n"
                               "FW.fwm: good, 3 images, checksum e4bb7d1\n");

        write("FW.fwm.minisig", m_tool.sign("other", "one", "release 4"));
        QCOMPARE(verify(), "FW.fwm: signature WRONG, key " + m_id +
                               ": it signs other bytes\n"
                               "fwm: error: the signature is not a valid signature of this "
                               "package: FW.fwm.minisig: it signs other bytes");

        write("one.pub", m_tool.load("other.pub"));
        QCOMPARE(verify(), "FW.fwm: signature of an unknown key, key " + m_id +
                               "\nfwm: error: the package is signed by a key that is not trusted: "
                               "FW.fwm.minisig: key " +
                               m_id);

        QVERIFY(QFile::remove(path("FW.fwm.minisig")));
        QCOMPARE(verify(), QByteArray("fwm: error: the package is not signed: FW.fwm"));
    }

    void withoutKeys()
    {
        QCOMPARE(run("verify FW.fwm").out, "FW.fwm: signature not checked, key " + m_id +
                                               "\nFW.fwm: good, 3 images, checksum e4bb7d1\n");
        const QJsonObject expected{{"file", "FW.fwm.minisig"}, {"state", "not-checked"},
                                   {"reason", QJsonValue()},   {"key", QString(m_id)},
                                   {"verified", false},        {"trusted_comment", "release 4"}};
        QCOMPARE(verified("").at("signature").toObject(), expected);

        write("FW.fwm.minisig", "broken");
        QCOMPARE(run("verify FW.fwm").out,
                 QByteArray("FW.fwm: signature not checked: it is not a signature file of "
                            "minisign\nFW.fwm: good, 3 images, checksum e4bb7d1\n"));

        QVERIFY(QFile::remove(path("FW.fwm.minisig")));
        QCOMPARE(run("verify FW.fwm").out,
                 QByteArray("FW.fwm: good, 3 images, checksum e4bb7d1\n"));
        QCOMPARE(verified("").at("signature.state").toString(), QString("none"));
        QVERIFY(!run("info FW.fwm").out.contains("Signature"));
    }

    void infoForPeople()
    {
        const auto rows = [this](const QString &more) {
            const QByteArray out = run("info FW.fwm" + more).out;
            const int start = out.indexOf("Signature");
            return out.mid(start, out.indexOf("\n\n") - start);
        };
        QCOMPARE(rows(""),
                 "Signature  not checked, key " + m_id + "\nComment    (unverified) release 4");
        QCOMPARE(rows(withKey), "Signature  ok, key " + m_id + "\nComment    release 4");
        write("FW.fwm.minisig",
              withLine(m_files.signature, 2, [](auto &line) { return line + "2"; }));
        QCOMPARE(rows(withKey), "Signature  WRONG, key " + m_id +
                                    ": its trusted comment was changed\n"
                                    "Comment    (unverified) release 42");
    }

    void wrongKeys_data()
    {
        const tests::DataTable<QString, QString, QString> row("make", "keys", "named");
        row("no such file", "true", "none", "none");
        row("secret key", "echo x > secret", "secret", "secret");
        row("huge file", "truncate -s 1G huge", "huge", "huge");
        row("folder without keys", "mkdir keys; cp one.pub keys/README", "keys",
            "no name in 'keys' ends in .pub");
        row("folder with one broken key", "mkdir keys; cp one.pub keys/a.pub; echo > keys/b.pub",
            "keys", "keys/b.pub");
    }

    void wrongKeys()
    {
        QFETCH(QString, make);
        QFETCH(QString, keys);
        QFETCH(QString, named);
        QCOMPARE(shell(make).status, 0);
        for (const QString command : {"verify", "info"}) {
            const Ran ran = run(command + " FW.fwm --keys " + keys);
            QCOMPARE(ran.status, 2);
            QCOMPARE(ran.out, QByteArray());
            QVERIFY2(ran.err.startsWith("fwm: error: the command line is wrong: --keys: "),
                     ran.err.constData());
            QVERIFY2(ran.err.contains(named.toUtf8()), ran.err.constData());
        }
    }

    void folderOfKeys()
    {
        QCOMPARE(shell("mkdir keys; echo read me > keys/README; ln -s keys link").status, 0);
        for (int i = 0; i < 99; ++i)
            write(QStringLiteral("keys/%1.pub").arg(i), m_tool.load("other.pub"));
        QCOMPARE(verified(" --keys keys").problem(), QString("9 package-key-unknown"));
        write("keys/last.pub", m_files.key);
        QCOMPARE(verified(" --keys keys").problem(), QString("0 "));
        QCOMPARE(verified(" --keys link").problem(), QString("0 "));
    }

    void signatureElsewhere()
    {
        QCOMPARE(shell("mv FW.fwm.minisig other.minisig").status, 0);
        QCOMPARE(verified().problem(), QString("9 package-not-signed"));
        const Ran named = verified(withKey + " --signature other.minisig");
        QCOMPARE(named.problem(), QString("0 "));
        QCOMPARE(named.at("signature.file").toString(), QString("other.minisig"));
        QCOMPARE(verified(withKey + " --signature none").problem(), QString("1 file-unreadable"));
    }

    void commentsCannotChangeTheTerminal()
    {
        write("FW.fwm.minisig", m_tool.sign(m_files.package, "one", "\x1b[31mred"));
        for (const QString command : {"verify FW.fwm", "info FW.fwm"}) {
            QVERIFY(!run(command).out.contains('\x1b'));
            QVERIFY(!run(command + withKey).out.contains('\x1b'));
        }
        QVERIFY(run("info FW.fwm").out.contains("\\u001b[31mred"));
    }

    void damagedPackagesAreNotChecked()
    {
        write("FW.fwm", fileBytes(goldenPath("checksum-wrong")));
        const Ran ran = run("verify FW.fwm --keys one.pub");
        QCOMPARE(ran.status, 7);
        QVERIFY(ran.out.contains("FW.fwm: signature not checked, key " + m_id + "\n"));
        // What is wrong inside of a package is known only when its signature is right.
        write("FW.fwm", fileBytes(goldenPath("net-md5-wrong")));
        QCOMPARE(verified().problem(), QString("9 package-signature-wrong"));
        write("FW.fwm.minisig",
              m_tool.sign(fileBytes(goldenPath("net-md5-wrong")), "one", "release 4"));
        QCOMPARE(run("verify FW.fwm --keys one.pub").status, 7);
    }

private:
    void store(const SignedPackage &files) const
    {
        write("FW.fwm", files.package);
        write("FW.fwm.minisig", files.signature);
        write("one.pub", files.key);
    }

    /** The result of verify; info has the same exit status and signature. */
    Ran verified(const QString &more = withKey) const
    {
        Ran verify = run("verify FW.fwm --json" + more);
        const Ran info = run("info FW.fwm --json" + more);
        const bool isSame =
            info.status == verify.status && info.at("signature") == verify.at("signature");
        return isSame ? verify : Ran();
    }

    static inline const QString withKey = QStringLiteral(" --keys one.pub");
    MinisignTool m_tool;
    SignedPackage m_files;
    QByteArray m_id;
};

AGENT_TEST(TestSignatures)

} // namespace tst_signatures

#include "tst_signatures.moc"
