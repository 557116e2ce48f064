// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineModel.h"
#include "engine/MatrixFixture.h"
#include "support/TestCase.h"

Q_DECLARE_METATYPE(Disturbance)

namespace engine::tst_matrix {

/**
 * Every command of every chain with every trouble. An independent model (EngineModel.h) computes
 * the expected result; nothing is recorded from the engine.
 */
class TestMatrix : public QObject
{
    Q_OBJECT

private slots:
    void cases_data()
    {
        const tests::DataTable<Disturbance> rows("disturbance");
        const struct
        {
            Chain chain;
            const char *name;
        } chains[] = {{Chain::Upgrade, "upgrade"},
                      {Chain::BootcodeFirst, "bootcode first"},
                      {Chain::Read, "read"},
                      {Chain::Write, "write"}};
        for (const auto &one : chains) {
            const QList<Disturbance> cases = matrix::casesOf(one.chain);
            for (const Disturbance &disturbance : cases)
                rows(qPrintable(QLatin1String(one.name) + QLatin1String(": ") + disturbance.name()),
                     disturbance);
        }
    }

    void cases()
    {
        QFETCH(Disturbance, disturbance);
        const EngineModel expected(disturbance);
        MatrixFixture fixture(disturbance);
        QVERIFY(fixture.run());
        QVERIFY(sameTranscript(fixture.lines(), expected.lines));
        QVERIFY(sameTranscript(fixture.frames(), expected.frames()));
        if (fixture.isUpgrade()) {
            QCOMPARE(fixture.results(), expected.results());
            QCOMPARE(fixture.wrongFlash(), QString());
        }
        QVERIFY(fixture.upgradeAgain());
        QCOMPARE(fixture.wrongFlash(), QString());
    }
};

AGENT_TEST(TestMatrix)

} // namespace engine::tst_matrix

#include "tst_matrix.moc"
