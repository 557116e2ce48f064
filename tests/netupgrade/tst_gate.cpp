// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/BlocksGate.h"
#include "support/MinisignTool.h"
#include "support/TestCase.h"

#include <QDir>
#include <QtTest>

namespace netupgrade::tst_gate {

class TestGate : public QObject
{
    Q_OBJECT

private slots:
    void transfers_data()
    {
        // E enter, F first block, m block in the middle, L last block; + keys appear, - keys
        // vanish.
        // y accepted, r refused with the line, n refused; and how often the keys were read.
        const tests::DataTable<QString, QString, int> rows("frames", "answers", "questions");
        const auto row = [&rows](const char *frames, const char *answers, int questions) {
            rows(frames, frames, answers, questions);
        };
        row("EFmmL", "yyyyy", 3);
        row("+EFmmL", "rnnnn", 3);
        row("+EFmmLL", "rnnnnn", 4);
        row("+EE", "rr", 2);
        row("+EFmLEFmL", "rnnnrnnn", 6);
        row("+FmmL", "rnnn", 2);
        row("+FmLFmL", "rnnrnn", 4);
        row("+FmFmL", "rnnnn", 3);
        row("+mmL", "rnn", 2);
        row("mm", "yy", 1);
        row("EFm+mL", "yyyyr", 3);
        row("EFm+mLFmL", "yyyyrrnn", 5);
        row("EF+mFmL", "yyyrnn", 4);
        row("E+FmL", "yrnn", 3);
        row("+EF-mmL", "rnnnn", 3);
        row("+EFmm-EFmL", "rnnnyyyy", 5);
        row("+EFmm-FmL", "rnnnyyy", 4);
    }

    void transfers()
    {
        QFETCH(QString, frames);
        bool hasKeys = false;
        int questions = 0;
        BlocksGate gate([&] {
            ++questions;
            return hasKeys ? QStringLiteral("no") : QString();
        });
        QString answers;
        for (const QChar frame : frames) {
            if (frame == '+' || frame == '-') {
                hasKeys = frame == '+';
                continue;
            }
            const BlocksGate::Decision decision =
                frame == 'E' ? gate.enter() : gate.block(frame == 'F', frame == 'L');
            QVERIFY(decision.isRefused || decision.line.isEmpty());
            answers += !decision.isRefused ? 'y' : decision.line.isEmpty() ? 'n' : 'r';
        }
        QTEST(answers, "answers");
        QTEST(questions, "questions");
    }

    void asksForKeys()
    {
        const MinisignTool tool;
        const BlocksGate::Refusal refusal = signedPackagesOnly(tool.path("keys"));
        QCOMPARE(refusal(), QString());
        QVERIFY(QDir().mkdir(tool.path("keys")));
        QCOMPARE(refusal(), QString());
        tool.makeKey("keys/a");
        QCOMPARE(refusal(),
                 QString("NET package refused, this module takes signed packages only."));
        tool.store("keys/b.pub", "");
        QCOMPARE(refusal(),
                 QString("Key file %1 cannot be used, upgrade fail.").arg(tool.path("keys/b.pub")));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestGate)

} // namespace netupgrade::tst_gate

#include "tst_gate.moc"
