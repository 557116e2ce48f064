// SPDX-License-Identifier: Apache-2.0
#include "console/TCPServer.h"

#include "console/ConsoleListener.h"
#include "edid/ParseEDID.h"
#include "engine/report/RunEvents.h"
#include "links/WorkerCOM.h"
#include "netupgrade/NetModelUpgrade.h"
#include "platform/Log.h"

TCPServer::TCPServer(QObject *parent, const Platform &platform, const WorkerFactory &makeWorker)
    : QObject(parent),
      m_platform(platform),
      m_worker(makeWorker ? makeWorker(platform) : std::make_unique<WorkerCOM>(nullptr, platform)),
      m_read(int(platform.limits.consoleRead), Qt::Uninitialized),
      m_turns([this](const PackageTurns::Client &client) { serveLines(client); }),
      m_netReport([this](const RunEvent &event) { emit m_events.runEvent(event); })
{
    connectWorker();
    createEdid();
    createNetUpgrade();
    createGiveBack();
    createServer();
}

/** A client that moves into the place of a removed one is not waited for: the shutdown takes half
 *  the time, and its socket is closed with the server's. */
TCPServer::~TCPServer()
{
    for (int i = 0; i < m_clients.size(); ++i) {
        ConsoleSocket *socket = m_clients.at(i)->socket;
        socket->disconnect(this);
        socket->disconnectFromHost();
        if (socket->state() != QAbstractSocket::UnconnectedState)
            socket->waitForDisconnected(int(m_platform.timeOuts.clientDisconnect.count()));
        m_clients.remove(i);
    }
    m_server->close();
}

quint16 TCPServer::port() const
{
    return m_server->serverPort();
}

QString TCPServer::listenError() const
{
    return m_server->isListening() ? QString() : m_server->errorString();
}

void TCPServer::connectWorker()
{
    connect(worker(), &WorkerCOM::message, this, &TCPServer::message);
    connect(worker(), &WorkerCOM::progressValueChanged, this, &TCPServer::progressValueChanged);
    connect(worker(), &WorkerCOM::netconnected, this, &TCPServer::slotnetconnected);
    connect(m_worker->runEvents(), &RunEvents::reported, &m_events, &ConsoleEvents::runEvent);
}

void TCPServer::createEdid()
{
    m_edid = new ParseEDID(this);
    connect(m_edid, &ParseEDID::signalEDID, this, &TCPServer::slotSignalEDID);
}

void TCPServer::createNetUpgrade()
{
    m_netUpgrade = new NetModelUpgrade(this, m_platform);
    m_netUpgrade->setRunActive([this] { return m_worker->runActive(); });
    connect(this, &TCPServer::signalReceiveData, m_netUpgrade, &NetModelUpgrade::slotReceiveData);
    connect(m_netUpgrade, &NetModelUpgrade::signalResponse, this, &TCPServer::slotResponse);
    connect(m_netUpgrade, &NetModelUpgrade::message, this, &TCPServer::message);
    connect(m_netUpgrade, &NetModelUpgrade::slotProgressValueChanged, this,
            &TCPServer::progressValueChanged);
    connect(m_netUpgrade, &NetModelUpgrade::slotProgressValueChanged, this,
            [this](double percent) { m_netReport.progress(percent); });
    m_netUpgrade->setInstallReport([this](const QString &version) { netInstallStarted(version); },
                                   [this](bool succeeded) { netInstallEnded(succeeded); });
}

void TCPServer::createServer()
{
    m_server = new ConsoleListener(this);
    m_server->start(m_platform.ports.console);
    if (!connect(m_server, SIGNAL(newConnection()), this, SLOT(NewConnectionSlot())))
        qCDebug(logConsole) << "错误" << m_server->errorString();
    connect(m_server, &ConsoleListener::cannotAccept, this, [](const QString &reason) {
        qCWarning(logConsole) << "cannot accept a client:" << reason;
    });
}
