// SPDX-License-Identifier: Apache-2.0
// The whole console server: a client sends the bytes of the input in the pieces that the input
// defines, and disconnects. The server uses the real engine, with a package that the engine lists
// and refuses to send.
#include "ConsoleBench.h"

#include "protocol/ConsoleTexts.h"
#include "support/Fuzz.h"

#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace consoletext = protocol::consoletext;
using engine::RunEvents;
using platform::Platform;

namespace {

constexpr int patience = 5'000;
constexpr int lineLimit = 2'048;
/** Far above what one input can ask for. */
constexpr int mostReplies = 16 * 1024 * 1024;

/** The fuzzer's own timer may interrupt it. */
void awaitBytes(int handle)
{
    pollfd arrival{handle, POLLIN, 0};
    int count = 0;
    do
        count = poll(&arrival, 1, patience);
    while (count < 0 && errno == EINTR);
    require(count == 1);
}

/** A blocking socket, since everything here happens in its order. */
class Client
{
public:
    explicit Client(quint16 port) : m_handle(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        // The port is free again at once, and no piece waits for the one before.
        const linger atOnce{1, 0};
        const int on = 1;
        setsockopt(m_handle, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        setsockopt(m_handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        require(connect(m_handle, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0);
    }
    ~Client() { close(m_handle); }

    quint16 port() const
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(m_handle, reinterpret_cast<sockaddr *>(&address), &size);
        return ntohs(address.sin_port);
    }

    void send(const QByteArray &bytes)
    {
        require(::send(m_handle, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) ==
                bytes.size());
    }

    const QByteArray &replies()
    {
        char buffer[65'536];
        for (ssize_t count = 1; count > 0;
             m_replies.append(buffer, int(std::max<ssize_t>(count, 0))))
            count = recv(m_handle, buffer, sizeof buffer, MSG_DONTWAIT);
        require(m_replies.size() < mostReplies);
        return m_replies;
    }

    /** A busy kernel may hand over a reply some time after it was sent. */
    void awaitReply(const QByteArray &reply)
    {
        while (!replies().endsWith(reply))
            awaitBytes(m_handle);
    }

private:
    int m_handle;
    QByteArray m_replies;
};

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
        Client client(bench.server->port());
        QTcpSocket *socket = nullptr;
        while ((socket = accepted(client.port())) == nullptr)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        exchange(client, *socket, "UPGRADEMODE||2\r\n");
        while (!input.atEnd())
            exchange(client, *socket, input.bytes(1 + input.byte()));
        // Whatever came before, the next request is served, and a run that was taken ends.
        exchange(client, *socket, "\r\nHEARTBEAT\r\n");
        client.awaitReply(consoletext::heartbeatReply.data());
        while (bench.server->worker()->runActive())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        require(runs == ended);
        require(runs == 0 || client.replies().contains(consoletext::upgradeFail.data()));
    }

    /** The server notices that the client is gone, and what it began on its own ends. */
    void settle()
    {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private:
    /** The server's end of a client's connection. */
    QTcpSocket *accepted(quint16 port) const
    {
        const auto sockets = bench.server->findChildren<QTcpSocket *>();
        for (QTcpSocket *const socket : sockets) {
            if (socket->peerPort() == port && socket->state() == QAbstractSocket::ConnectedState)
                return socket;
        }
        return nullptr;
    }

    static void exchange(Client &client, QTcpSocket &socket, const QByteArray &bytes)
    {
        if (bytes.isEmpty())
            return;
        client.send(bytes);
        // Without the event loop, in which a run could end meanwhile.
        awaitBytes(int(socket.socketDescriptor()));
        emit socket.readyRead();
        client.replies();
        // What follows a list waits for the loop.
        while (isPaused(socket))
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
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
