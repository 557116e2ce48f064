// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LogOutput.h"
#include "platform/Log.h"
#include "runtime/StandardError.h"
#include "support/TestCase.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace monitoring::tst_log_output {

using platform::logNet;
using platform::logOperations;

namespace {

const uid_t otherUser = 65'534;

void refuseToBeOpenedAgain(int pipe)
{
    if (::fchmod(pipe, 0) != 0 || (::geteuid() == 0 && ::seteuid(otherUser) != 0))
        std::abort();
}

/** What a process writes to standard error that installs the log's output and then does this. Its
 *  last lines are still with a thread when it ends. */
QByteArray standardErrorOf(const std::function<void()> &child)
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        qFatal("no pipe");
    const pid_t process = ::fork();
    if (process == 0) {
        const rlimit noCore{};
        ::setrlimit(RLIMIT_CORE, &noCore);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        refuseToBeOpenedAgain(STDERR_FILENO);
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGABRT, SIG_DFL);
        // After the output's own handler: a sanitizer's look for leaks would fail as another user.
        std::atexit([] { ::_exit(0); });
        logOutput::install();
        child();
        std::exit(0);
    }
    ::close(ends[1]);
    QByteArray all;
    QByteArray piece(65'536, Qt::Uninitialized);
    for (;;) {
        const ssize_t count = ::read(ends[0], piece.data(), size_t(piece.size()));
        if (count <= 0)
            break;
        all += piece.left(int(count));
    }
    ::close(ends[0]);
    ::waitpid(process, nullptr, 0);
    return all;
}

constexpr int manyLines = 2'000;

void writeForms()
{
    qCWarning(logNet) << "a" << 1;
    runtime::standardError::write("as it stands\n");
    qCInfo(logOperations).noquote() << "b\nc";
    qCDebug(logNet) << "off";
}

void writeByPattern()
{
    qSetMessagePattern("%{if-warning}%{type} %{message}%{endif}");
    qCInfo(logOperations) << "left out";
    qCWarning(logNet) << "shown";
}

void writeManyLines()
{
    for (int i = 0; i < manyLines; ++i)
        qCInfo(logOperations) << i;
}

void writeManyLinesAndAbort()
{
    writeManyLines();
    qFatal("the end");
}

QByteArray manyLinesAnd(const QByteArray &end)
{
    QByteArray lines;
    for (int i = 0; i < manyLines; ++i)
        lines += "agent.operations: " + QByteArray::number(i) + '\n';
    return lines + end;
}

} // namespace

class TestLogOutput : public QObject
{
    Q_OBJECT

public:
    /** Forks, and so comes before Qt Test starts a thread. */
    TestLogOutput()
        : m_forms(standardErrorOf(writeForms)),
          m_pattern(standardErrorOf(writeByPattern)),
          m_exit(standardErrorOf(writeManyLines)),
          m_abort(standardErrorOf(writeManyLinesAndAbort))
    {
    }

private slots:
    void forms()
    {
        QCOMPARE(m_forms, QByteArray("agent.net: a 1\nas it stands\nagent.operations: b\nc\n"));
    }
    void pattern() { QCOMPARE(m_pattern, QByteArray("warning shown\n")); }
    void lastLinesBeforeAnExit() { QCOMPARE(m_exit, manyLinesAnd({})); }
    void lastLinesBeforeAnAbort() { QCOMPARE(m_abort, manyLinesAnd("the end\n")); }

private:
    QByteArray m_forms;
    QByteArray m_pattern;
    QByteArray m_exit;
    QByteArray m_abort;
};

AGENT_TEST_WITHOUT_APPLICATION(TestLogOutput)

} // namespace monitoring::tst_log_output

#include "tst_log_output.moc"
