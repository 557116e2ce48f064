// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClients.h"
#include "console/ConsoleCommands.h"
#include "console/ConsoleEvents.h"
#include "console/ConsoleReplies.h"
#include "console/NetPackages.h"
#include "console/RequestReader.h"
#include "platform/Platform.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

namespace console {
class ConsoleListener;
} // namespace console

class NetModelUpgrade;
class ParseEDID;
class WorkerCOM;

/**
 * The agent's top-level object: serves console clients with a text protocol over TCP, creates the
 * worker that runs the upgrade engine, and sends clients the messages of the engine, the EDID
 * report and the module's own upgrade. Its parts do the work.
 */
class TCPServer : public QObject
{
    Q_OBJECT

public:
    using WorkerFactory =
        std::function<std::unique_ptr<WorkerCOM>(const platform::Platform &platform)>;

    /** Listens at once. When the port is in use, no client is served. Without a factory the worker
     *  is that of the upgrade engine. */
    explicit TCPServer(QObject *parent = nullptr,
                       const platform::Platform &platform = platform::Platform(),
                       const WorkerFactory &makeWorker = {});
    ~TCPServer() override;

    /** The listening port, 0 for none. */
    quint16 port() const;
    /** Why the server does not listen; empty while it does. */
    QString listenError() const;
    static QString version() { return console::ConsoleCommands::version(); }
    const platform::Platform &platform() const { return m_platform; }
    /** For the operations log and the service manager. */
    const console::ConsoleEvents &events() const { return m_events; }
    /** The engine's bridge; lives as long as this object. */
    WorkerCOM *worker() const { return m_worker.get(); }

signals:
    /** A piece of a NET package. */
    void signalReceiveData(const QByteArray &datas);

private slots:
    void NewConnectionSlot();
    void disconnectedSlot();
    void ReadData();
    void message(const QStringList &message);
    void progressValueChanged(double bytesSent, double bytesTotal);
    void slotnetconnected();
    void slotSignalEDID(const QList<QString> &result);

public slots:
    void slotResponse(const QByteArray &datas);

private:
    console::RequestReader::Receivers receivers();
    void connectWorker();
    void connectNetUpgrade();
    void listen();

    const platform::Platform m_platform;
    console::ConsoleEvents m_events;
    std::unique_ptr<WorkerCOM> m_worker;
    ParseEDID *const m_edid;
    NetModelUpgrade *const m_netUpgrade;
    console::ConsoleListener *const m_listener;
    console::ConsoleClients m_clients;
    console::ConsoleReplies m_replies;
    console::RequestReader m_reader;
    console::NetPackages m_netPackages;
    console::ConsoleCommands m_commands;
    /** The client to read; null for all. */
    console::ClientPointer m_readable;
};
