// SPDX-License-Identifier: Apache-2.0
#include "runtime/JournalStream.h"
#include "support/TestCase.h"

#include <QTemporaryFile>
#include <QtTest>

#include <sys/stat.h>

namespace tst_journal_stream {

namespace journalStream = runtime::journalStream;

class TestJournalStream : public QObject
{
    Q_OBJECT

private slots:
    void recognisesItsStream();
    void priorities_data();
    void priorities();
};

void TestJournalStream::recognisesItsStream()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    struct stat status = {};
    QCOMPARE(fstat(file.handle(), &status), 0);
    const QByteArray device = QByteArray::number(quint64(status.st_dev));
    const QByteArray inode = QByteArray::number(quint64(status.st_ino));
    QVERIFY(journalStream::isJournal(device + ':' + inode, file.handle()));
    QVERIFY(!journalStream::isJournal(device + ":1", file.handle()));
    QVERIFY(!journalStream::isJournal("1:" + inode, file.handle()));
    QVERIFY(!journalStream::isJournal(device + inode, file.handle()));
    QVERIFY(!journalStream::isJournal("", file.handle()));
    QVERIFY(!journalStream::isJournal(device + ':' + inode, -1));
}

void TestJournalStream::priorities_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("lines");

    QTest::newRow("debug") << int(QtDebugMsg) << "a" << QByteArray("<7>a\n");
    QTest::newRow("info") << int(QtInfoMsg) << "a" << QByteArray("<6>a\n");
    QTest::newRow("warning") << int(QtWarningMsg) << "a" << QByteArray("<4>a\n");
    QTest::newRow("critical") << int(QtCriticalMsg) << "a" << QByteArray("<3>a\n");
    QTest::newRow("fatal") << int(QtFatalMsg) << "a" << QByteArray("<2>a\n");
    QTest::newRow("lines") << int(QtInfoMsg) << "a\n<0>b" << QByteArray("<6>a\n<6><0>b\n");
    QTest::newRow("UTF-8") << int(QtInfoMsg) << QString::fromUtf8("\u00e9")
                           << QByteArray("<6>\xc3\xa9\n");
}

void TestJournalStream::priorities()
{
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QByteArray, lines);
    QCOMPARE(journalStream::withPriority(QtMsgType(type), text), lines);
}

AGENT_TEST_WITHOUT_APPLICATION(TestJournalStream)

} // namespace tst_journal_stream

#include "tst_journal_stream.moc"
