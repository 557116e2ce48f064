// SPDX-License-Identifier: Apache-2.0
// The whole console server: a client sends the bytes of the input in the pieces that the input
// defines, and disconnects. The server uses the real engine, with a package that the engine lists
// and refuses to send.
#include "ConsoleBench.h"

#include "protocol/ConsoleTexts.h"
#include "support/Fuzz.h"

#include <QSocketNotifier>

#include <algorithm>

namespace consoletext = protocol::consoletext;
using engine::RunEvents;
using platform::Platform;

namespace {

constexpr int patience = 5'000;
constexpr int lineLimit = 2'048;
/** Far above what one input can ask for. */
constexpr int mostReplies = 16 * 1024 * 1024;

/** A worker that opens no link, and checks and counts the runs that are asked for. */
class CheckedWorker : public WorkerCOM
{
public:
    CheckedWorker(const Platform &platform, int &runs, const std::atomic<int> &ended)
        : WorkerCOM(nullptr, platform), m_runs(runs), m_ended(ended)
    {
    }

    bool onConnect(QString) override { return false; }
    void disconnected() override {}
    void connectNet(const QString &, int) override {}
    void uploadByMergeFW(QString file, QStringList rows, int mode) override
    {
        // Never two at once; this one may be over already.
        require(m_ended >= m_runs);
        ++m_runs;
        require(mode == 2 || mode == 5);
        for (const QString &row : qAsConst(rows))
            require(row.count(',') >= 2);
        WorkerCOM::uploadByMergeFW(file, rows, mode);
    }

private:
    int &m_runs;
    const std::atomic<int> &m_ended;
};

/** One server for all inputs. It uses no port, file or command of the machine. */
class Server
{
public:
    Server()
    {
        bench.platform.limits.consoleLine = lineLimit;
        bench.platform.timeOuts.runGuard = std::chrono::milliseconds(1);
        bench.platform.timeOuts.netGateReopen = std::chrono::milliseconds(1);
        bench.platform.pauses.beforeModuleReboot = std::chrono::milliseconds(0);
        bench.usePackage(QStringLiteral("version-5.fwm"));
        bench.makeWorker = [this](const Platform &platform) {
            return std::make_unique<CheckedWorker>(platform, runs, ended);
        };
        bench.start();
        QObject::connect(
            bench.server->worker()->runEvents(), &RunEvents::ending, bench.server->worker(),
            [this](qint64) { ++ended; }, Qt::DirectConnection);
    }

    void serve(FuzzInput &input)
    {
        runs = 0;
        ended = 0;
        ConsoleTestClient client(bench.server->port());
        require(waitFor([&] { return bench.accepted(client) != nullptr; }));
        exchange(client, "UPGRADEMODE||2\r\n");
        while (!input.atEnd())
            exchange(client, input.bytes(1 + input.byte()));
        // Whatever came before, the next request is served, and a run that was taken ends.
        exchange(client, "\r\nHEARTBEAT\r\n");
        while (!client.received().endsWith(consoletext::heartbeatReply.data()))
            require(client.socket.waitForReadyRead(patience));
        require(waitFor([&] { return !bench.server->worker()->runActive(); }));
        require(runs == ended);
        require(runs == 0 || waitFor([&] {
                    return client.received().contains(consoletext::upgradeFail.data());
                }));
        require(client.received().size() < mostReplies);
        // The port is free again at once.
        client.disconnectAtOnce();
    }

    /** The server notices that the client is gone, and what it began on its own ends. */
    void settle()
    {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private:
    void exchange(ConsoleTestClient &client, const QByteArray &bytes)
    {
        if (bytes.isEmpty())
            return;
        client.send(bytes);
        // Without the event loop, in which a run could end meanwhile.
        bench.readWithoutTheLoop(client);
        // What follows a list waits for the loop.
        require(waitFor([&] { return !isPaused(*bench.accepted(client)); }));
    }

    static bool isPaused(const QTcpSocket &socket)
    {
        const auto notifiers = socket.findChildren<QSocketNotifier *>();
        return std::none_of(notifiers.begin(), notifiers.end(),
                            [](const QSocketNotifier *one) { return one->isEnabled(); });
    }

    /** Those of the input, and those of them that the engine has ended. */
    int runs = 0;
    std::atomic<int> ended{0};
    ConsoleBench bench;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    static int argc = 1;
    static char name[] = "test";
    static char *argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    static Server server;
    FuzzInput input(data, size);
    server.serve(input);
    server.settle();
    return 0;
}
