// SPDX-License-Identifier: Apache-2.0
#include "runtime/LossyWriter.h"
#include "support/FullDisk.h"
#include "support/OrdinaryUser.h"
#include "support/Pty.h"
#include "support/TestCase.h"

#include <QDir>
#include <QTemporaryFile>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace runtime::tst_lossy_writer {

using namespace std::chrono_literals;

namespace {

constexpr int smallLimit = 20'000;

QByteArray line(int number)
{
    return "line " + QByteArray::number(number) + ' ' + QByteArray(60, 'x') + '\n';
}

QByteArray lossReport(qint64 lines)
{
    return "lost " + QByteArray::number(lines) + '\n';
}

/** A writing end, and a reading end that only reads when it is asked to. */
class Ends
{
public:
    explicit Ends(const QString &kind)
    {
        std::array<int, 2> ends{-1, -1};
        if (kind == QLatin1String("socket"))
            ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data());
        else if (kind == QLatin1String("terminal"))
            ends = {::dup(m_pty.master()), ::open(qPrintable(m_pty.port()), O_RDWR | O_NOCTTY)};
        else if (::pipe(ends.data()) != 0)
            qFatal("no pipe");
        m_read = ends[0];
        m_write = ends[1];
        if (m_write < 0 || m_read < 0)
            qFatal("cannot make a %s", qPrintable(kind));
    }
    ~Ends()
    {
        closeReader();
        ::close(m_write);
    }
    Ends(const Ends &) = delete;
    Ends &operator=(const Ends &) = delete;

    int writeEnd() const { return m_write; }

    void closeReader()
    {
        if (m_read >= 0)
            ::close(m_read);
        m_read = -1;
        m_pty.hangUp();
    }

    /** Everything up to this text, or what came within a minute. */
    QByteArray readUntil(const QByteArray &end)
    {
        QByteArray all;
        QElapsedTimer clock;
        clock.start();
        while (!all.endsWith(end) && !clock.hasExpired(60'000))
            all += readSome();
        return all;
    }

private:
    QByteArray readSome() const
    {
        pollfd input{m_read, POLLIN, 0};
        if (::poll(&input, 1, 100) <= 0)
            return {};
        QByteArray bytes(65'536, Qt::Uninitialized);
        bytes.resize(int(::read(m_read, bytes.data(), size_t(bytes.size()))));
        // A terminal writes a carriage return before each line end.
        return bytes.replace('\r', "");
    }

    Pty m_pty;
    int m_write = -1;
    int m_read = -1;
};

int threads()
{
    return QDir(QStringLiteral("/proc/self/task"))
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
        .size();
}

} // namespace

class TestLossyWriter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { std::signal(SIGPIPE, SIG_IGN); }

    void readerStops_data()
    {
        const tests::DataTable<QString> rows("kind");
        for (const char *kind : {"pipe", "socket", "terminal"})
            rows(kind);
    }

    /** What was kept comes first, then the count, and then the log goes on. Two times: a reader
     * that has stopped once may stop again. */
    void readerStops()
    {
        QFETCH(QString, kind);
        Ends ends(kind);
        LossyWriter writer(ends.writeEnd(), lossReport, smallLimit);
        for (int time = 0; time < 2; ++time) {
            const int total = 20'000;
            for (int i = 0; i < total; ++i)
                writer.write(line(i));
            QVERIFY(!writer.flush(0ms));

            // Nothing else is written, and the count comes anyway.
            QByteArray got;
            while (!got.contains("lost ")) {
                const QByteArray more = ends.readUntil("\n");
                QVERIFY(!more.isEmpty());
                got += more;
            }
            QVERIFY(writer.flush(60s));
            writer.write("goes on\n");
            got += ends.readUntil("goes on\n");

            const int kept = got.count('\n') - 2;
            QByteArray expected;
            for (int i = 0; i < kept; ++i)
                expected += line(i);
            expected += lossReport(total - kept) + "goes on\n";
            QVERIFY(kept > smallLimit / line(total).size());
            QVERIFY(kept < total);
            QVERIFY(got == expected);
        }
    }

    void atOnceAndWithoutAThread_data() { readerStops_data(); }

    /** The call itself writes the line, without a thread. */
    void atOnceAndWithoutAThread()
    {
        QFETCH(QString, kind);
        Ends ends(kind);
        const int before = threads();
        const int flags = ::fcntl(ends.writeEnd(), F_GETFL);
        LossyWriter writer(ends.writeEnd(), lossReport);
        for (int i = 0; i < 1000; ++i) {
            writer.write(line(i));
            QCOMPARE(ends.readUntil(line(i)), line(i));
        }
        QCOMPARE(threads(), before);
        // The description is shared with other processes, which would not expect it to fail.
        QCOMPARE(::fcntl(ends.writeEnd(), F_GETFL), flags);
        QVERIFY(writer.flush(0ms));
    }

    /** As with Ctrl-S: the terminal is read, but takes nothing. */
    void stoppedTerminal()
    {
        Ends ends("terminal");
        LossyWriter writer(ends.writeEnd(), lossReport, smallLimit);
        writer.write("before\n");
        QCOMPARE(ends.readUntil("before\n"), QByteArray("before\n"));
        QCOMPARE(::tcflow(ends.writeEnd(), TCOOFF), 0);
        QByteArray expected;
        for (int i = 0; i < 3; ++i) {
            writer.write(line(i));
            expected += line(i);
        }
        QVERIFY(!writer.flush(0ms));
        QCOMPARE(::tcflow(ends.writeEnd(), TCOON), 0);
        QCOMPARE(ends.readUntil(line(2)), expected);
        QVERIFY(writer.flush(60s));
    }

    /** It may be written, but not opened a second time: as standard error of a program that another
     *  user has started. Its thread may catch up in between, so there may be several counts. */
    void pipeOfAnotherUser()
    {
        Ends ends("pipe");
        QCOMPARE(::fchmod(ends.writeEnd(), 0), 0);
        const OrdinaryUser user;
        const int before = threads();
        LossyWriter writer(ends.writeEnd(), lossReport, smallLimit);
        writer.write("first\n");
        QCOMPARE(threads(), before + 1);
        QCOMPARE(ends.readUntil("first\n"), QByteArray("first\n"));
        QVERIFY(writer.flush(60s));
        const int total = 20'000;
        for (int i = 0; i < total; ++i)
            writer.write(line(i));

        int next = 0;
        while (next < total) {
            const QList<QByteArray> lines = ends.readUntil("\n").split('\n');
            QVERIFY(lines.size() > 1);
            for (const QByteArray &one : lines.mid(0, lines.size() - 1)) {
                if (one.startsWith("lost "))
                    next += one.mid(5).toInt();
                else
                    QCOMPARE(one + '\n', line(next++));
            }
        }
        QCOMPARE(next, total);
        QVERIFY(writer.flush(60s));
        writer.write("goes on\n");
        QCOMPARE(ends.readUntil("goes on\n"), QByteArray("goes on\n"));
    }

    /** A line that is half-written when the reader stops is finished before the next one. */
    void longLine()
    {
        Ends ends("pipe");
        LossyWriter writer(ends.writeEnd(), lossReport);
        const QByteArray large = QByteArray(200'000, 'a') + '\n';
        writer.write(large);
        writer.write("next\n");
        QVERIFY(!writer.flush(0ms));
        QVERIFY(ends.readUntil("next\n") == large + "next\n");
    }

    void readerGoesAway()
    {
        Ends ends("pipe");
        LossyWriter writer(ends.writeEnd(), lossReport, smallLimit);
        for (int i = 0; i < 5'000; ++i)
            writer.write(line(i));
        QVERIFY(!writer.flush(0ms));
        ends.closeReader();
        writer.write("not read\n");
        // The destructor does not wait for a reader that will never come.
    }

    /** Lines that did not fit on the disk are written or counted when there is free space again. */
    void fullDisk()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        LossyWriter writer(file.handle(), lossReport, 100);
        {
            const FullDisk disk(10);
            writer.write("123456789abcdef\n");
            writer.write(line(1));
            writer.write(line(2));
            writer.write(line(3));
        }
        QVERIFY(!writer.flush(0ms));
        writer.write("space\n");
        QVERIFY(file.seek(0));
        QCOMPARE(file.readAll(), "123456789abcdef\n" + line(1) + "lost 2\nspace\n");
    }

    /** What is opened under its number later, such as the serial line, gets no lines. */
    void descriptorIsClosed()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        const int closed = ::dup(file.handle());
        ::close(closed);
        LossyWriter writer(closed, lossReport);
        writer.write("nowhere\n");
        QVERIFY(!writer.flush(0ms));
        QCOMPARE(::dup2(file.handle(), closed), closed);
        writer.write("nowhere\n");
        QVERIFY(!writer.flush(0ms));
        ::close(closed);
        QCOMPARE(file.size(), qint64(0));
    }

    /** Every line stays whole, and the lines of one thread in their order. */
    void manyThreads()
    {
        Ends ends("pipe");
        LossyWriter writer(ends.writeEnd(), lossReport);
        const int each = 2'000;
        std::vector<std::thread> crowd;
        for (const char name : {'a', 'b', 'c'}) {
            crowd.emplace_back([&writer, name] {
                for (int i = 0; i < each; ++i)
                    writer.write(QByteArray(1, name) + ' ' + QByteArray::number(i) + '\n');
            });
        }
        QByteArray got;
        while (got.count('\n') < 3 * each)
            got += ends.readUntil("\n");
        for (std::thread &one : crowd)
            one.join();
        QMap<QByteArray, int> next;
        const auto lines = got.trimmed().split('\n');
        for (const QByteArray &one : lines) {
            const QList<QByteArray> words = one.split(' ');
            QCOMPARE(words.value(1), QByteArray::number(next[words.value(0)]++));
        }
        QCOMPARE(next.values(), (QList<int>{each, each, each}));
    }
};

AGENT_TEST(TestLossyWriter)

} // namespace runtime::tst_lossy_writer

#include "tst_lossy_writer.moc"
