// SPDX-License-Identifier: Apache-2.0
#include "edid/TestDumps.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_golden {

namespace {

/** Carriage returns and line feeds are part of the texts, so they show as such. */
QString visible(QString text)
{
    return text.replace('\r', "\\r").replace('\n', "\\n");
}

QString transcript(const Outcome &outcome)
{
    QString text = "status: " + visible(outcome.status) + '\n';
    text += "signalEDID\n";
    for (const QString &item : outcome.items)
        text += "  \"" + visible(item) + "\"\n";
    text += "lines\n";
    for (const QString &line : outcome.lines)
        text += "  " + visible(line) + '\n';
    return text;
}

} // namespace

/**
 * The whole report of every real display. With EDID_GOLDEN_UPDATE=1 in the environment the test
 * writes the files and fails; read them before you commit them.
 */
class TestGolden : public QObject
{
    Q_OBJECT

private slots:
    void reports_data()
    {
        const tests::DataTable<QString> rows("name");
        for (const QString &name : realDumpNames())
            rows(qPrintable(name), name);
    }

    void reports()
    {
        QFETCH(QString, name);
        const QByteArray dump = realDump(name);
        QCOMPARE(dump.size(), 256);
        const Outcome outcome = outcomeOf(dump);
        const QByteArray written = transcript(outcome).toUtf8();

        QFile golden(dataPath(name + ".report"));
        if (qEnvironmentVariableIsSet("EDID_GOLDEN_UPDATE")) {
            QVERIFY(golden.open(QIODevice::WriteOnly));
            golden.write(written);
            QFAIL("golden report written");
        }
        QVERIFY2(golden.open(QIODevice::ReadOnly), qPrintable(golden.fileName()));
        QCOMPARE(written, golden.readAll());
        QCOMPARE(outcome.dump, QString::fromLatin1(dump.toHex(' ').toUpper() + ' '));
        QCOMPARE(outcome.lastLine, outcome.lines.last().toLatin1());
    }

    void indexNamesEveryDump()
    {
        QStringList indexed;
        for (const QByteArray &row : readFile(dataPath("INDEX.md")).split('\n')) {
            const QString file = QString::fromUtf8(row.split('|').value(1)).trimmed();
            if (file.endsWith(".bin"))
                indexed.append(file.chopped(4));
        }
        indexed.sort();
        QStringList present = realDumpNames();
        present.sort();
        QVERIFY(!present.isEmpty());
        QCOMPARE(indexed, present);
    }
};

AGENT_TEST(TestGolden)

} // namespace tst_golden

#include "tst_golden.moc"
