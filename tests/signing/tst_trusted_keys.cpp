// SPDX-License-Identifier: Apache-2.0
#include "signing/TrustedKeys.h"
#include "support/FewDescriptors.h"
#include "support/MinisignTool.h"
#include "support/OrdinaryUser.h"
#include "support/TestCase.h"
#include "support/TestFolder.h"

#include <QProcess>
#include <QtTest>

namespace signing::tst_trusted_keys {

class TestTrustedKeys : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_key = m_tool.makeKey("one"); }

    void init()
    {
        m_folder.reset(new TestFolder);
        m_folder->store("key", m_key);
        run("mkdir -p etc/keys");
    }

    void noFolder()
    {
        for (const char *name : {"etc/keys", "etc/none", "none/keys"})
            QCOMPARE(found(name), QString("none"));
    }

    /** A missing folder is seen as missing; one that is there and cannot be read is not. */
    void withoutDescriptors()
    {
        const FewDescriptors none(3);
        QCOMPARE(found("none/keys"), QString("none"));
        QCOMPARE(found("etc"), QString("unusable etc"));
    }

    void otherNamesAreIgnored()
    {
        for (const char *name :
             {"README", "one.pub.txt", "one.PUB", "pub", "one.pub~", ".one.pub.swp"})
            m_folder->store(QString("etc/keys/") + name, "not a key");
        make("folder", "etc/keys/folder");
        make("FIFO", "etc/keys/fifo");
        QCOMPARE(found(), QString("none"));
    }

    void readsKeysInOrder()
    {
        const QByteArray second = m_tool.makeKey("two");
        m_folder->store("etc/keys/b.pub", m_key);
        m_folder->store("etc/keys/a.pub", second);
        m_folder->store("etc/keys/README", "text");
        QCOMPARE(found(), QString("2 keys"));
        const TrustedKeys keys = readKeyFolder(folder());
        QCOMPARE(keys.keys.at(0).bytes, parsePublicKey(second)->bytes);
        QCOMPARE(keys.keys.at(1).id, parsePublicKey(m_key)->id);
    }

    void followsLinks()
    {
        run("cp key other; ln -s ../../other etc/keys/a.pub; ln -s a.pub etc/keys/b.pub; "
            "ln -s etc/keys link");
        for (const char *name : {"etc/keys", "link", "etc/keys/"})
            QCOMPARE(found(name), QString("2 keys"));
    }

    void manyKeys()
    {
        run("for i in $(seq 100); do cp key etc/keys/$i.pub; done");
        QCOMPARE(found(), QString("100 keys"));
    }

    void oneBadFileIsEnough_data()
    {
        const tests::DataTable<bool> row("usable");
        row("64 KiB", true);
        for (const char *kind :
             {"empty", "text", "larger than 64 KiB", "sparse, 1 GiB", "FIFO", "folder",
              "dangling link", "loop", "link to a device", "link to a FIFO"})
            row(kind, false);
    }

    void oneBadFileIsEnough()
    {
        QFETCH(bool, usable);
        run("cp key etc/keys/a.pub; cp key etc/keys/z.pub");
        make(QTest::currentDataTag(), "etc/keys/m.pub");
        QCOMPARE(found(), QString(usable ? "3 keys" : "unusable etc/keys/m.pub"));
    }

    void badFolders_data()
    {
        const tests::DataTable<QString> row("place");
        for (const char *kind : {"text", "FIFO", "dangling link", "loop", "link to a device"}) {
            row(kind, "etc/keys");
            row(qPrintable(QString("parent: ") + kind), "etc");
        }
    }

    void badFolders()
    {
        QFETCH(QString, place);
        run(place == "etc" ? "rm -r etc" : "rmdir etc/keys");
        make(QString(QTest::currentDataTag()).remove("parent: "), place);
        QCOMPARE(found(), QString("unusable etc/keys"));
    }

    void unreadable()
    {
        run("cp key etc/keys/a.pub; chmod 755 .");
        for (const QString name : {"etc/keys/a.pub", "etc/keys", "etc"}) {
            run("chmod 0 " + name);
            {
                const OrdinaryUser user;
                QCOMPARE(found(), "unusable " + (name == "etc" ? "etc/keys" : name));
            }
            run("chmod 755 " + name);
        }
    }

    void readsOneFile()
    {
        m_folder->store("b", "not a key");
        QCOMPARE(int(readKeyFile(path("key")).keys.size()), 1);
        QCOMPARE(readKeyFile(path("b")).unusable, path("b"));
        QCOMPARE(readKeyFile(path("none")).unusable, path("none"));
    }

    void readsTheSignatureOnlyForKeys()
    {
        m_folder->store("FW.fwm.minisig", "signature");
        const QString signature = signaturePath(path("FW.fwm"));
        TrustFiles files = readTrustFiles(folder(), signature);
        QVERIFY(!files.needDigest());
        QCOMPARE(files.judge({}).kind, Verdict::Kind::NotRequired);
        m_folder->store("etc/keys/a.pub", m_key);
        files = readTrustFiles(folder(), signature);
        QVERIFY(files.needDigest());
        QCOMPARE(files.signature.bytes, QByteArray("signature"));
        QCOMPARE(files.judge(QByteArray(64, 'd')).reason, Verdict::Reason::Malformed);
        m_folder->store("etc/keys/b.pub", "");
        files = readTrustFiles(folder(), signature);
        QVERIFY(!files.needDigest());
        const Verdict verdict = files.judge({});
        QCOMPARE(verdict.kind, Verdict::Kind::KeysUnusable);
        QCOMPARE(lineOf(verdict),
                 QString("Key file %1 cannot be used, upgrade fail.").arg(path("etc/keys/b.pub")));
    }

    void signatureFiles_data()
    {
        using Reason = Verdict::Reason;
        const tests::DataTable<QString, int> row("kind", "reason");
        row("none", "", int(Reason::None));
        row("empty", "empty", int(Reason::Malformed));
        row("64 KiB", "64 KiB", int(Reason::Malformed));
        for (const char *kind : {"larger than 64 KiB", "sparse, 1 GiB", "FIFO", "folder",
                                 "dangling link", "loop", "link to a device", "link to a FIFO"})
            row(kind, kind, int(Reason::Unreadable));
    }

    void signatureFiles()
    {
        QFETCH(QString, kind);
        m_folder->store("etc/keys/a.pub", m_key);
        if (!kind.isEmpty())
            make(kind, "FW.fwm.minisig");
        const Verdict verdict =
            readTrustFiles(folder(), path("FW.fwm.minisig")).judge(QByteArray(64, 'd'));
        QCOMPARE(verdict.kind,
                 kind.isEmpty() ? Verdict::Kind::NotSigned : Verdict::Kind::SignatureError);
        QTEST(int(verdict.reason), "reason");
    }

private:
    QString path(const QString &name) const { return m_folder->path(name); }
    QString folder() const { return path("etc/keys"); }

    /** What is in a folder of keys: "none", "2 keys" or "unusable etc/keys/b.pub". */
    QString found(const QString &name = "etc/keys") const
    {
        const TrustedKeys keys = readKeyFolder(path(name));
        if (keys.areUsable())
            return keys.areInstalled() ? QString("%1 keys").arg(keys.keys.size()) : "none";
        const bool isConsistent = keys.areInstalled() && keys.keys.empty();
        return QString(isConsistent ? keys.unusable : "odd")
            .replace(m_folder->path() + "/", "unusable ");
    }

    /** In the folder of the test, which has a key in "key". */
    void run(const QString &line) const
    {
        QProcess shell;
        shell.setWorkingDirectory(m_folder->path());
        shell.start("sh", {"-ec", line});
        QVERIFY(shell.waitForFinished(-1));
        QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());
    }

    /** Makes something of this kind at `name`. */
    void make(const QString &kind, const QString &name) const
    {
        const QString filled = "head -c %1 /dev/zero | tr '\\0' '\\n' | cat key - > NAME";
        const int rest = int(keyFileLimit) - m_key.size();
        const QMap<QString, QString> lines = {
            {"empty", ": > NAME"},
            {"text", "printf 'not a key\\nat all\\n' > NAME"},
            {"64 KiB", filled.arg(rest)},
            {"larger than 64 KiB", filled.arg(rest + 1)},
            {"sparse, 1 GiB", "cp key NAME; truncate -s 1G NAME"},
            {"FIFO", "mkfifo NAME"},
            {"folder", "mkdir NAME"},
            {"dangling link", "ln -s nowhere NAME"},
            {"loop", "ln -s $PWD/NAME NAME"},
            {"link to a device", "ln -s /dev/zero NAME"},
            {"link to a FIFO", "mkfifo fifo; ln -s $PWD/fifo NAME"},
        };
        QVERIFY(lines.contains(kind));
        run(QString(lines[kind]).replace("NAME", name));
    }

    MinisignTool m_tool;
    QByteArray m_key;
    QScopedPointer<TestFolder> m_folder;
};

AGENT_TEST_WITHOUT_APPLICATION(TestTrustedKeys)

} // namespace signing::tst_trusted_keys

#include "tst_trusted_keys.moc"
