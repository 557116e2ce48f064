// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "engine/Scenario.h"
#include "engine/package/PackageShelf.h"
#include "engine/package/RunPackage.h"
#include "support/MinisignTool.h"
#include "support/TestCase.h"

#include <QDir>

namespace engine::tst_signatures {

using signing::Verdict;

namespace {

/** A package, its signature, and a folder with the key. */
struct SignedBench : ReportBench
{
    SignedBench() : bytes(makePackage({testImage("AUX", 1, {1, 0, 0}, 1, 100'000)}))
    {
        tool.store("FW.fwm", bytes);
        tool.makeKey("own");
        if (!QDir().mkdir(keys()))
            qFatal("cannot make the key folder");
    }

    QString path() const { return tool.path("FW.fwm"); }
    QString keys() const { return tool.path("keys"); }
    void installKey() const { tool.store("keys/own.pub", tool.load("own.pub")); }
    void sign() const { tool.store("FW.fwm.minisig", tool.sign(bytes, "own", "release 4")); }

    const MinisignTool tool;
    const QByteArray bytes;
    PackageShelf shelf{output, [] {}, keys()};
};

const QString sumOk = QString("Firmware file checksum ok.");
const QString notSigned = QString("Firmware package is not signed, upgrade fail.");
const QStringList described = {"Firmware package version: 6", "Model Name: HX-8",
                               "Version: 1.0.12"};

} // namespace

/** Packages and keys, without a run. */
class TestSignatures : public QObject
{
    Q_OBJECT

private slots:
    void keysAreReadWithEachPackage()
    {
        const SignedBench bench;
        RunPackage package(bench.keys());
        const auto kind = [&] {
            return package.open(bench.path()) == PackageCheck::Right ? int(package.trust().kind)
                                                                     : -1;
        };
        QCOMPARE(kind(), int(Verdict::Kind::NotRequired));
        bench.installKey();
        QCOMPARE(kind(), int(Verdict::Kind::NotSigned));
        bench.sign();
        QCOMPARE(kind(), int(Verdict::Kind::Trusted));
        QCOMPARE(package.trust().trustedComment, QByteArray("release 4"));
        bench.tool.store("keys/x.pub", "");
        QCOMPARE(kind(), int(Verdict::Kind::KeysUnusable));
        QVERIFY(QDir(bench.keys()).removeRecursively());
        QCOMPARE(kind(), int(Verdict::Kind::NotRequired));
    }

    void findsChangesThatKeepTheCrc()
    {
        const SignedBench bench;
        bench.sign();
        // The polynomial of the CRC-32, least significant bits first.
        const QByteArray unseen = QByteArray::fromHex("410671db01");
        const int at = bench.bytes.size() - 1000;
        for (const bool hasKeys : {false, true}) {
            if (hasKeys)
                bench.installKey();
            bench.tool.store("FW.fwm", bench.bytes);
            RunPackage package(bench.keys());
            QCOMPARE(package.open(bench.path()), PackageCheck::Right);
            QVERIFY(package.trust().allowsUse());
            QByteArray changed = bench.bytes;
            for (int i = 0; i < unseen.size(); ++i)
                changed[at + i] = char(changed.at(at + i) ^ unseen.at(i));
            bench.tool.store("FW.fwm", changed);
            QCOMPARE(package.source().read(at, 5), hasKeys ? QByteArray() : changed.mid(at, 5));
            QCOMPARE(package.isFaulty(), hasKeys);
            // Before the check only the signature reports it.
            QCOMPARE(package.open(bench.path()), PackageCheck::Right);
            QCOMPARE(package.trust().allowsUse(), !hasKeys);
        }
    }

    void lists()
    {
        SignedBench bench;
        const QString json = bench.shelf.list(bench.path(), false);
        QVERIFY(json.startsWith('{'));
        QCOMPARE(bench.lines, QStringList{sumOk} + described);
        bench.installKey();
        bench.lines.clear();
        QCOMPARE(bench.shelf.list(bench.path(), false), json);
        QCOMPARE(bench.lines, (QStringList{sumOk, notSigned} + described));
        bench.lines.clear();
        QCOMPARE(bench.shelf.list(bench.path(), true), json);
        QCOMPARE(bench.lines, QStringList());
        bench.sign();
        QCOMPARE(bench.shelf.list(bench.path(), false), json);
        const QString id = bench.tool.load("own.pub").split('\n').first().split(' ').last();
        QCOMPARE(bench.lines,
                 (QStringList{sumOk, QString("Firmware package signature ok, key %1.").arg(id)} +
                  described));
    }

    void upgradeOfEverything()
    {
        SignedBench bench;
        QVERIFY(bench.shelf.listForUpgrade(bench.path()).startsWith('{'));
        bench.installKey();
        bench.lines.clear();
        QCOMPARE(bench.shelf.listForUpgrade(bench.path()), QString());
        QCOMPARE(bench.lines, (QStringList{sumOk, notSigned, "APPSTATUS|2"}));
        QVERIFY(bench.shelf.firmwareList().isEmpty());
        bench.sign();
        QVERIFY(bench.shelf.listForUpgrade(bench.path()).startsWith('{'));
        QCOMPARE(bench.shelf.firmwareList().size(), 1);
    }

    /** Its form is listed, although no run takes it. */
    void packageWithoutChecksum()
    {
        SignedBench bench;
        bench.tool.store("FW.fwm", bareForm(bench.bytes, 2));
        bench.installKey();
        QVERIFY(bench.shelf.list(bench.path(), false).startsWith('{'));
        QCOMPARE(bench.lines.first(), notSigned);
        bench.lines.clear();
        QCOMPARE(bench.shelf.listForUpgrade(bench.path()), QString());
        QCOMPARE(bench.lines, (QStringList{notSigned, "APPSTATUS|2"}));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestSignatures)

} // namespace engine::tst_signatures

#include "tst_signatures.moc"
