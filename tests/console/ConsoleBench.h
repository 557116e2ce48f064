// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/TCPServer.h"
#include "links/WorkerCOM.h"
#include "support/RecordingShell.h"

#include <QDir>
#include <QFile>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

/** A client that keeps everything it was sent. */
class ConsoleTestClient
{
public:
    explicit ConsoleTestClient(quint16 port)
    {
        socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket.connectToHost(QStringLiteral("127.0.0.1"), port);
        socket.waitForConnected();
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

    void forget()
    {
        received();
        m_received.clear();
    }

    QTcpSocket socket;

private:
    QByteArray m_received;
};

/**
 * The console server with a port of its own, private paths, a recording shell and no serial port.
 * The engine behind it is the real one, unless cutEngine() was called.
 */
class ConsoleBench
{
public:
    ConsoleBench()
    {
        platform.paths.package = folder.filePath("FW.fwm");
        platform.paths.netArchive = folder.filePath("sysupdate.tar.bz2");
        platform.paths.netVersion = folder.filePath("version");
        platform.ports.console = 0;
        platform.ports.device = 9;
        platform.ports.serial = "ttyNoSuchPort";
        platform.shell = shell.shell();
    }

    void start() { server = std::make_unique<TCPServer>(nullptr, platform); }

    /** From now on requests to the engine only go into `requests`. A run that is then asked for
     *  never ends. */
    void cutEngine()
    {
        WorkerCOM *worker = server->worker();
        QObject::disconnect(worker, &WorkerCOM::signalConnect, nullptr, nullptr);
        QObject::disconnect(worker, &WorkerCOM::signaldisconnected, nullptr, nullptr);
        QObject::disconnect(worker, &WorkerCOM::signaluploadByMergeFW, nullptr, nullptr);
        QObject::disconnect(worker, &WorkerCOM::signalConnectNet, nullptr, nullptr);
        QObject::connect(worker, &WorkerCOM::signalConnect, worker,
                         [this](const QString &port) { requests.append("connect " + port); });
        QObject::connect(worker, &WorkerCOM::signaldisconnected, worker,
                         [this] { requests.append("disconnect"); });
        QObject::connect(worker, &WorkerCOM::signaluploadByMergeFW, worker,
                         [this](const QString &file, const QStringList &rows, int mode) {
                             requests.append("upload " + named(file) + ' ' + rows.join('|') + ' ' +
                                             QString::number(mode));
                         });
        QObject::connect(worker, &WorkerCOM::signalConnectNet, worker,
                         [this](const QString &address, int port) {
                             requests.append(QString("net %1 %2").arg(address).arg(port));
                         });
    }

    /** Waits until the server has read everything that was sent so far: a request of a client that
     *  came later is answered then. Moves the reply target. */
    bool settle()
    {
        ConsoleTestClient later(server->port());
        later.send("HEARTBEAT\r\n");
        return QTest::qWaitFor([&] { return !later.received().isEmpty(); });
    }

    /** What the engine would tell. */
    void tell(const QStringList &message)
    {
        QMetaObject::invokeMethod(server.get(), "message", Q_ARG(QStringList, message));
    }

    QString named(const QString &path) const { return path.section('/', -1); }

    void usePackage(const QString &golden)
    {
        QFile::remove(platform.paths.package);
        const QString source = TEST_DATA_DIR "/../../package/data/" + golden;
        if (!QFile::copy(QDir::cleanPath(source), platform.paths.package))
            qFatal("no package %s", qPrintable(source));
    }

    QTemporaryDir folder;
    RecordingShell shell;
    Platform platform;
    std::unique_ptr<TCPServer> server;
    QStringList requests;
};
