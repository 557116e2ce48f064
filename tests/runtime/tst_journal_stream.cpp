// SPDX-License-Identifier: Apache-2.0
#include "runtime/JournalStream.h"
#include "support/TestCase.h"

#include <QTemporaryFile>

#include <sys/stat.h>

Q_DECLARE_METATYPE(QtMsgType)

namespace runtime::tst_journal_stream {

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
        const tests::DataTable<QtMsgType, QString, QByteArray> rows("type", "text", "lines");

        rows("debug", QtDebugMsg, "a", "<7>a\n");
        rows("info", QtInfoMsg, "a", "<6>a\n");
        rows("warning", QtWarningMsg, "a", "<4>a\n");
        rows("critical", QtCriticalMsg, "a", "<3>a\n");
        rows("fatal", QtFatalMsg, "a", "<2>a\n");
        rows("lines", QtInfoMsg, "a\n<0>b", "<6>a\n<6><0>b\n");
        rows("UTF-8", QtInfoMsg, QString::fromUtf8("\u00e9"), QByteArray("<6>\xc3\xa9\n"));
    }

    void priorities()
    {
        QFETCH(QtMsgType, type);
        QFETCH(QString, text);
        QTEST(journalStream::withPriority(type, text), "lines");
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestJournalStream)

} // namespace runtime::tst_journal_stream

#include "tst_journal_stream.moc"
