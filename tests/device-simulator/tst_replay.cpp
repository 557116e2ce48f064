// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"
#include "support/TestCase.h"

#include "device-simulator/ReplayDevice.h"

#include <QtTest>

namespace tst_replay {

class TestReplay : public QObject
{
    Q_OBJECT

private slots:
    void answersAsRecorded()
    {
        TestDevice recorded;
        recorded.addFault("late:word=version,delay=700,count=once");
        recorded.addFault("split:word=model-name,delay=2,count=once");
        const QByteArrayList questions{"5a5ba50700000002f90000a4", "5a5ba50500000003f9a5",
                                       "5a5ba50500000002f8a7"};
        QByteArrayList answers;
        for (const QByteArray &question : questions)
            answers.append(answersWithDelays(recorded.device, question));
        QString error;
        auto replay = ReplayDevice::fromTrace(recorded.lines.join('\n').toUtf8() + '\n', &error);
        QVERIFY2(replay, qPrintable(error));
        for (int i = 0; i < questions.size(); ++i)
            QCOMPARE(answersWithDelays(*replay, questions.at(i)), answers.at(i));
        QCOMPARE(answersWithDelays(*replay, "5a5ba50500000005f9a3"), QByteArray());
    }

    void takesRepetitionsInTurn()
    {
        QString error;
        auto replay =
            ReplayDevice::fromTrace("0.000001 host   F903 model-name | 5a5ba50500000003f9a5\n"
                                    "0.000002 fault  silent\n"
                                    "10.000000 host   F903 model-name"
                                    " | 5a5ba50500000003f9a5\n"
                                    "10.004500 device anything | 5b\n",
                                    &error);
        QVERIFY2(replay, qPrintable(error));
        QCOMPARE(answersWithDelays(*replay, "5a5ba50500000003f9a5"), QByteArray());
        QCOMPARE(answersWithDelays(*replay, "5a5ba50500000003f9a5"), QByteArray("5b+4"));
        QCOMPARE(answersWithDelays(*replay, "5a5ba50500000003f9a5"), QByteArray());
    }

    void namesWrongLines_data()
    {
        const tests::DataTable<QByteArray, QString> rows("trace", "error");
        rows("no trace", "hello", "line 1: is not a line of a trace");
        rows("odd digits", "\n0.000001 host   x | 5a5\n0.1 y", "line 3: is not a line of a trace");
        rows("answer first", "0.000001 device x | 5b", "line 1: answers no frame of the host");
    }

    void namesWrongLines()
    {
        QFETCH(QByteArray, trace);
        QFETCH(QString, error);
        QString message;
        QVERIFY(!ReplayDevice::fromTrace(trace, &message));
        QCOMPARE(message, error);
    }
};

AGENT_TEST(TestReplay)

} // namespace tst_replay

#include "tst_replay.moc"
