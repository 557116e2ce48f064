// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/TCPServer.h"
#include "engine/ControlCenter.h"
#include "links/WorkerCOM.h"
#include "support/InstallFolder.h"
#include "support/RecordingShell.h"
#include "support/WaitFor.h"

#include <QDir>
#include <QFile>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <poll.h>
#include <sys/socket.h>

/** A client that records everything that it receives. */
class ConsoleTestClient
{
public:
    explicit ConsoleTestClient(quint16 port)
    {
        socket.connectToHost(QStringLiteral("127.0.0.1"), port);
        socket.waitForConnected();
        socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    }

    void send(const QByteArray &bytes)
    {
        socket.write(bytes);
        socket.flush();
    }

    QByteArray received()
    {
        m_received += socket.readAll();
        return m_received;
    }

    /** Sends a request, after which the agent's messages go to this client, and waits for its reply
     *  alone. */
    bool becomeTarget()
    {
        const QByteArray heartbeat = "HEARTBEAT\r\n";
        send(heartbeat);
        const bool answered = waitFor([&] { return received() == heartbeat; });
        forget();
        return answered;
    }

    /** With a reset instead of an orderly close. */
    void disconnectAtOnce()
    {
        const linger none = {1, 0};
        setsockopt(int(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
        socket.abort();
    }

    /** It sends no more. */
    void closeItsSide() { shutdown(int(socket.socketDescriptor()), SHUT_WR); }

    void forget()
    {
        received();
        m_received.clear();
    }

    QTcpSocket socket;

private:
    QByteArray m_received;
};

/** A worker that passes only the reading of packages on to its engine, and writes every other
 *  request down. A run that is asked for never ends. */
class RecordingWorker : public WorkerCOM
{
public:
    RecordingWorker(const platform::Platform &platform, QStringList &requests)
        : WorkerCOM(nullptr, platform), m_requests(requests)
    {
    }

    /** For what it announces; its slots belong to its own thread. */
    static ControlCenter *engineOf(const WorkerCOM &worker)
    {
        return qobject_cast<ControlCenter *>(worker.runEvents()->parent());
    }

    bool onConnect(QString port) override
    {
        m_requests.append("connect " + port);
        return false;
    }
    void disconnected() override { m_requests.append("disconnect"); }
    void connectNet(const QString &address, int port) override
    {
        m_requests.append(QString("net %1 %2").arg(address).arg(port));
    }
    void uploadByMergeFW(QString file, QStringList rows, int mode) override
    {
        engineOf(*this)->runClaim().take();
        m_requests.append("upload " + file.section('/', -1) + ' ' + rows.join('|') + ' ' +
                          QString::number(mode));
    }

private:
    QStringList &m_requests;
};

/**
 * The console server with a free port, private paths, a recording shell and no serial port.
 * Its engine is the real one, unless recordRequests() is called before start().
 */
class ConsoleBench
{
public:
    ConsoleBench()
    {
        platform.paths.package = folder.filePath("FW.fwm");
        useInstallFolder(platform, folder.path());
        platform.ports.console = 0;
        platform.ports.device = 9;
        platform.ports.serial = "ttyNoSuchPort";
        platform.shell = shell.shell();
    }

    void start()
    {
        server = std::make_unique<TCPServer>(nullptr, platform, makeWorker);
        QObject::connect(
            server->worker()->runEvents(), &engine::RunEvents::over, server.get(),
            [this](qint64) { ++endedRuns; }, Qt::DirectConnection);
    }

    /** Requests to the engine are only recorded in `requests`. */
    void recordRequests()
    {
        makeWorker = [this](const platform::Platform &all) {
            return std::make_unique<RecordingWorker>(all, requests);
        };
    }

    /** A message of the engine. */
    void report(const QStringList &message)
    {
        QMetaObject::invokeMethod(server.get(), "message", Q_ARG(QStringList, message));
    }

    ControlCenter *engine() const { return RecordingWorker::engineOf(*server->worker()); }

    /** The server's end of a client's connection. */
    QTcpSocket *accepted(const ConsoleTestClient &client) const
    {
        const auto sockets = server->findChildren<QTcpSocket *>();
        for (QTcpSocket *const socket : sockets) {
            if (socket->peerPort() == client.socket.localPort())
                return socket;
        }
        return nullptr;
    }

    /** Lets the server read the client's bytes without the event loop: no report of the engine is
     *  delivered meanwhile. */
    void readWithoutTheLoop(const ConsoleTestClient &client) const
    {
        QTcpSocket *const socket = accepted(client);
        pollfd arrival{int(socket->socketDescriptor()), POLLIN, 0};
        ::poll(&arrival, 1, 60'000);
        emit socket->readyRead();
    }

    /** Waits until the engine has ended this number of runs, and delivers nothing meanwhile. */
    bool runsEndUndelivered(int runs) const
    {
        for (int i = 0; i < 10'000 && endedRuns < runs; ++i)
            QThread::msleep(1);
        return endedRuns >= runs;
    }

    void usePackage(const QString &golden)
    {
        QFile::remove(platform.paths.package);
        const QString source = TEST_DATA_DIR "/../../package/data/" + golden;
        if (!QFile::copy(QDir::cleanPath(source), platform.paths.package))
            qFatal("no package %s", qPrintable(source));
    }

    QTemporaryDir folder;
    RecordingShell shell;
    platform::Platform platform;
    QStringList requests;
    TCPServer::WorkerFactory makeWorker;
    std::unique_ptr<TCPServer> server;
    std::atomic<int> endedRuns{0};
};

/** A server with one client that it knows. */
struct ConsoleSession : ConsoleBench
{
    explicit ConsoleSession(const std::function<void(ConsoleBench &bench)> &change = nullptr)
    {
        if (change)
            change(*this);
        start();
        client = connectClient();
    }

    /** The agent's messages go to this client then. */
    std::unique_ptr<ConsoleTestClient> connectClient() const
    {
        auto one = std::make_unique<ConsoleTestClient>(server->port());
        if (!one->becomeTarget())
            qFatal("no answer");
        return one;
    }

    /** Connections that still exist. */
    int connections() const { return server->findChildren<QTcpSocket *>().size(); }

    std::unique_ptr<ConsoleTestClient> client;
};
