// SPDX-License-Identifier: Apache-2.0
#include "signing/TrustedKeys.h"
#include "support/FewDescriptors.h"
#include "support/MinisignTool.h"
#include "support/OrdinaryUser.h"
#include "support/TestCase.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace signing::tst_trusted_keys {

class TestTrustedKeys : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_key = m_tool.makeKey("one"); }

    void init()
    {
        m_folder.reset(new QTemporaryDir);
        QVERIFY(QDir(m_folder->path()).mkpath("etc/keys"));
    }

    void noFolder()
    {
        for (const char *name : {"etc/keys", "etc/none", "none/keys"}) {
            const TrustedKeys keys = readKeyFolder(path(name));
            QVERIFY(!keys.areInstalled());
            QVERIFY(keys.areUsable());
        }
    }

    /** A missing folder is seen as missing; one that is there and cannot be read is not. */
    void withoutDescriptors()
    {
        const FewDescriptors none(3);
        const TrustedKeys absent = readKeyFolder(path("none/keys"));
        QVERIFY(!absent.areInstalled());
        QVERIFY(absent.areUsable());
        QCOMPARE(readKeyFolder(path("etc")).unusable, path("etc"));
    }

    void otherNamesAreIgnored()
    {
        for (const char *name :
             {"README", "one.pub.txt", "one.PUB", "pub", "one.pub~", ".one.pub.swp"})
            store(QString("etc/keys/") + name, "not a key");
        make("folder", "etc/keys/folder");
        make("FIFO", "etc/keys/fifo");
        QVERIFY(!readKeyFolder(keys()).areInstalled());
    }

    void readsKeysInOrder()
    {
        const QByteArray second = m_tool.makeKey("two");
        store("etc/keys/b.pub", m_key);
        store("etc/keys/a.pub", second);
        store("etc/keys/README", "text");
        const TrustedKeys found = readKeyFolder(keys());
        QVERIFY(found.areInstalled());
        QVERIFY(found.areUsable());
        QCOMPARE(int(found.keys.size()), 2);
        QCOMPARE(found.keys.at(0).bytes, parsePublicKey(second)->bytes);
        QCOMPARE(found.keys.at(1).id, parsePublicKey(m_key)->id);
    }

    void followsLinks()
    {
        store("key", m_key);
        link(path("key"), "etc/keys/a.pub");
        link("a.pub", "etc/keys/b.pub");
        QCOMPARE(int(readKeyFolder(keys()).keys.size()), 2);
        link(keys(), "link");
        QCOMPARE(int(readKeyFolder(path("link")).keys.size()), 2);
        QCOMPARE(int(readKeyFolder(keys() + "/").keys.size()), 2);
    }

    void manyKeys()
    {
        for (int i = 0; i < 100; ++i)
            store(QString("etc/keys/%1.pub").arg(i), m_key);
        QCOMPARE(int(readKeyFolder(keys()).keys.size()), 100);
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
        store("etc/keys/a.pub", m_key);
        store("etc/keys/z.pub", m_key);
        make(QTest::currentDataTag(), "etc/keys/m.pub");
        const TrustedKeys found = readKeyFolder(keys());
        QVERIFY(found.areInstalled());
        QCOMPARE(found.unusable, usable ? QString() : path("etc/keys/m.pub"));
        QCOMPARE(int(found.keys.size()), usable ? 3 : 0);
    }

    void unreadableFile()
    {
        store("etc/keys/a.pub", m_key);
        QCOMPARE(::chmod(encoded("etc/keys/a.pub").constData(), 0), 0);
        QCOMPARE(::chmod(encoded("").constData(), 0755), 0);
        const OrdinaryUser user;
        QCOMPARE(readKeyFolder(keys()).unusable, path("etc/keys/a.pub"));
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
        QVERIFY(QDir(path("etc")).removeRecursively());
        if (place == "etc/keys")
            QVERIFY(QDir().mkdir(path("etc")));
        make(QString(QTest::currentDataTag()).remove("parent: "), place);
        const TrustedKeys found = readKeyFolder(keys());
        QCOMPARE(found.unusable, keys());
        QVERIFY(found.areInstalled());
    }

    void unreadableParent()
    {
        store("etc/keys/a.pub", m_key);
        QCOMPARE(::chmod(encoded("").constData(), 0755), 0);
        for (const char *name : {"etc/keys", "etc"}) {
            QCOMPARE(::chmod(encoded(name).constData(), 0), 0);
            {
                const OrdinaryUser user;
                QCOMPARE(readKeyFolder(keys()).unusable, keys());
            }
            QCOMPARE(::chmod(encoded(name).constData(), 0755), 0);
        }
    }

    void readsOneFile()
    {
        store("a.pub", m_key);
        store("b", "not a key");
        QCOMPARE(int(readKeyFile(path("a.pub")).keys.size()), 1);
        QCOMPARE(readKeyFile(path("b")).unusable, path("b"));
        QCOMPARE(readKeyFile(path("none")).unusable, path("none"));
    }

    void readsTheSignatureOnlyForKeys()
    {
        store("FW.fwm.minisig", "signature");
        const QString signature = signaturePath(path("FW.fwm"));
        TrustFiles files = readTrustFiles(keys(), signature);
        QVERIFY(!files.needDigest());
        QCOMPARE(files.judge({}).kind, Verdict::Kind::NotRequired);
        store("etc/keys/a.pub", m_key);
        files = readTrustFiles(keys(), signature);
        QVERIFY(files.needDigest());
        QCOMPARE(files.signature.bytes, QByteArray("signature"));
        QCOMPARE(files.judge(QByteArray(64, 'd')).reason, Verdict::Reason::Malformed);
        store("etc/keys/b.pub", "");
        files = readTrustFiles(keys(), signature);
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
        store("etc/keys/a.pub", m_key);
        if (!kind.isEmpty())
            make(kind, "FW.fwm.minisig");
        const Verdict verdict =
            readTrustFiles(keys(), path("FW.fwm.minisig")).judge(QByteArray(64, 'd'));
        QCOMPARE(verdict.kind,
                 kind.isEmpty() ? Verdict::Kind::NotSigned : Verdict::Kind::SignatureError);
        QTEST(int(verdict.reason), "reason");
    }

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    QByteArray encoded(const QString &name) const { return QFile::encodeName(path(name)); }
    QString keys() const { return path("etc/keys"); }
    void store(const QString &name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    void link(const QString &target, const QString &name) const
    {
        QVERIFY(QFile::link(target, path(name)));
    }
    /** Makes something of this kind at `name`. */
    void make(const QString &kind, const QString &name) const
    {
        const QByteArray file = encoded(name);
        const int rest = int(keyFileLimit) - m_key.size();
        const QMap<QString, std::function<void()>> kinds = {
            {"empty", [&] { store(name, ""); }},
            {"text", [&] { store(name, "not a key\nat all\n"); }},
            {"64 KiB", [&] { store(name, m_key + QByteArray(rest, '\n')); }},
            {"larger than 64 KiB", [&] { store(name, m_key + QByteArray(rest + 1, '\n')); }},
            {"sparse, 1 GiB",
             [&] {
                 store(name, m_key);
                 QCOMPARE(::truncate(file.constData(), off_t(1) << 30), 0);
             }},
            {"FIFO", [&] { QCOMPARE(::mkfifo(file.constData(), 0666), 0); }},
            {"folder", [&] { QVERIFY(QDir().mkdir(path(name))); }},
            {"dangling link", [&] { link("nowhere", name); }},
            {"loop", [&] { link(path(name), name); }},
            {"link to a device", [&] { link("/dev/zero", name); }},
            {"link to a FIFO",
             [&] {
                 QCOMPARE(::mkfifo(encoded("fifo").constData(), 0666), 0);
                 link(path("fifo"), name);
             }},
        };
        QVERIFY(kinds.contains(kind));
        kinds[kind]();
    }

    MinisignTool m_tool;
    QByteArray m_key;
    QScopedPointer<QTemporaryDir> m_folder;
};

AGENT_TEST_WITHOUT_APPLICATION(TestTrustedKeys)

} // namespace signing::tst_trusted_keys

#include "tst_trusted_keys.moc"
