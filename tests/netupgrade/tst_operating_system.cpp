// SPDX-License-Identifier: Apache-2.0
#include "platform/Platform.h"
#include "support/TestCase.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

namespace tst_operating_system {

using platform::OperatingSystem;

/** The real one. */
class TestOperatingSystem : public QObject
{
    Q_OBJECT

private slots:
    void syncs()
    {
        const OperatingSystem system = OperatingSystem::real();
        const QTemporaryDir folder;
        const QString path = folder.filePath("file");
        QVERIFY(!system.syncFileSystem(path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(system.syncFileSystem(path));
        QVERIFY(system.syncFileSystem(folder.path()));
        // A FIFO without a writer does not block.
        const QString fifo = folder.filePath("fifo");
        QCOMPARE(::mkfifo(qPrintable(fifo), 0600), 0);
        QVERIFY(system.syncFileSystem(fifo));
    }

    /** By its last argument, and no longer than it runs. */
    void findsAProcess()
    {
        const OperatingSystem system = OperatingSystem::real();
        const QTemporaryDir folder;
        const QString argument = folder.filePath("archive");
        QVERIFY(!system.hasProcess(argument));
        QProcess process;
        // The shell waits for the end of its input.
        process.start("/bin/sh", {"-c", "read line", "name", argument});
        QVERIFY(process.waitForStarted());
        QTRY_VERIFY(system.hasProcess(argument));
        QVERIFY(!system.hasProcess(folder.filePath("arch")));
        QVERIFY(!system.hasProcess("archive"));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished());
        QVERIFY(!system.hasProcess(argument));
    }
};

AGENT_TEST(TestOperatingSystem)

} // namespace tst_operating_system

#include "tst_operating_system.moc"
