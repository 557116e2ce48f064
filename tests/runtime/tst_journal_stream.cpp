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
    void recognisesItsStream()
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

    void priorities_data()
    {
        const tests::DataTable<int, QString, QByteArray> rows("type", "text", "lines");

        rows("debug", int(QtDebugMsg), "a", "<7>a\n");
        rows("info", int(QtInfoMsg), "a", "<6>a\n");
        rows("warning", int(QtWarningMsg), "a", "<4>a\n");
        rows("critical", int(QtCriticalMsg), "a", "<3>a\n");
        rows("fatal", int(QtFatalMsg), "a", "<2>a\n");
        rows("lines", int(QtInfoMsg), "a\n<0>b", "<6>a\n<6><0>b\n");
        rows("UTF-8", int(QtInfoMsg), QString::fromUtf8("\u00e9"), QByteArray("<6>\xc3\xa9\n"));
    }

    void priorities()
    {
        QFETCH(int, type);
        QFETCH(QString, text);
        QFETCH(QByteArray, lines);
        QCOMPARE(journalStream::withPriority(QtMsgType(type), text), lines);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestJournalStream)

} // namespace tst_journal_stream

#include "tst_journal_stream.moc"
