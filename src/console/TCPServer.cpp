// SPDX-License-Identifier: Apache-2.0
#include "console/TCPServer.h"

#include "console/ConsoleListener.h"
#include "console/ConsoleReports.h"
#include "edid/ParseEDID.h"
#include "engine/report/RunEvents.h"
#include "links/WorkerCOM.h"
#include "netupgrade/NetModelUpgrade.h"
#include "platform/Log.h"

namespace consolereport = console::consolereport;
using console::ClientPointer;
using console::ConsoleEvents;
using console::ConsoleListener;
using console::ConsolePeer;
using console::ConsoleRequest;
using console::ConsoleSocket;
using console::RequestReader;
using engine::RunEvents;
using platform::logConsole;
using platform::logConsoleBytes;
using platform::Platform;

TCPServer::TCPServer(QObject *parent, const Platform &platform, const WorkerFactory &makeWorker)
    : QObject(parent),
      m_platform(platform),
      m_worker(makeWorker ? makeWorker(m_platform)
                          : std::make_unique<WorkerCOM>(nullptr, m_platform)),
      m_edid(new ParseEDID(this)),
      m_netUpgrade(new NetModelUpgrade(this, m_platform)),
      m_listener(new ConsoleListener(this)),
      m_clients(m_platform, m_events, [this](bool on) { m_listener->setAccepting(on); }),
      m_replies(m_clients.all(), m_platform.limits),
      m_reader(m_platform.limits, m_clients, m_replies, receivers()),
      m_netPackages(*m_netUpgrade, m_events),
      m_commands({m_platform, *m_worker, m_replies, m_events, m_reader.turns(), *m_edid,
                  [this] { return m_netUpgrade->isInstalling(); }})
{
    connectWorker();
    connect(m_edid, &ParseEDID::signalEDID, this, &TCPServer::slotSignalEDID);
    connectNetUpgrade();
    // Before the first request can arrive.
    m_netPackages.resume();
    listen();
}

TCPServer::~TCPServer()
{
    m_clients.hangUp();
    m_listener->close();
}

quint16 TCPServer::port() const
{
    return m_listener->serverPort();
}

QString TCPServer::listenError() const
{
    return m_listener->isListening() ? QString() : m_listener->errorString();
}

RequestReader::Receivers TCPServer::receivers()
{
    return {[this](const ConsoleRequest &request) { m_commands.handle(request); },
            [this](const ConsolePeer &peer, const QByteArray &payload) {
                if (m_netPackages.accept(peer, payload))
                    emit signalReceiveData(payload);
            }};
}

void TCPServer::connectWorker()
{
    connect(worker(), &WorkerCOM::message, this, &TCPServer::message);
    connect(worker(), &WorkerCOM::progressValueChanged, this, &TCPServer::progressValueChanged);
    connect(worker(), &WorkerCOM::netconnected, this, &TCPServer::slotnetconnected);
    connect(m_worker->runEvents(), &RunEvents::reported, &m_events, &ConsoleEvents::runEvent);
}

void TCPServer::connectNetUpgrade()
{
    m_netUpgrade->setRunActive([this] { return m_worker->runActive(); });
    connect(this, &TCPServer::signalReceiveData, m_netUpgrade, &NetModelUpgrade::slotReceiveData);
    connect(m_netUpgrade, &NetModelUpgrade::signalResponse, this, &TCPServer::slotResponse);
    connect(m_netUpgrade, &NetModelUpgrade::message, this, &TCPServer::message);
    connect(m_netUpgrade, &NetModelUpgrade::slotProgressValueChanged, this,
            &TCPServer::progressValueChanged);
}

void TCPServer::listen()
{
    m_listener->start(m_platform.ports.console);
    if (!connect(m_listener, SIGNAL(newConnection()), this, SLOT(NewConnectionSlot())))
        qCDebug(logConsole) << "错误" << m_listener->errorString();
    connect(m_listener, &ConsoleListener::cannotAccept, this, [](const QString &reason) {
        qCWarning(logConsole) << "cannot accept a client:" << reason;
    });
}

void TCPServer::NewConnectionSlot()
{
    qCDebug(logConsole) << "NewConnectionSlot";
    ConsoleSocket *const socket = m_listener->nextPendingConnection();
    if (socket == nullptr)
        return;
    socket->configure(m_platform.keepAlive, m_platform.timeOuts.halfClosedClient);
    const ClientPointer client = m_clients.add(*socket, socket->peer());
    // sender() would search the connections of all clients.
    connect(socket, &QTcpSocket::readyRead, this, [this, client] {
        m_readable = client;
        ReadData();
    });
    connect(socket, SIGNAL(disconnected()), this, SLOT(disconnectedSlot()));
}

void TCPServer::disconnectedSlot()
{
    qCDebug(logConsole) << "disconnectedSlot";
    m_clients.removeClosed();
}

/**
 * Serves the client that has sent something. The event loop signals clients one by one; checking
 * all of them would make the cost of a request grow with the number of clients.
 */
void TCPServer::ReadData()
{
    if (const auto client = std::exchange(m_readable, nullptr)) {
        m_reader.read(client);
        return;
    }
    const QVector<ClientPointer> clients = m_clients.all();
    for (const ClientPointer &client : clients)
        m_reader.read(client);
}

void TCPServer::message(const QStringList &message)
{
    qCDebug(logConsole) << "TCPServermessage"
                        << ":" << message;
    if (consolereport::isStatus(message))
        m_worker->disconnected();
    const QString text = consolereport::ofMessage(message);
    if (!text.isEmpty())
        m_replies.send(text);
}

void TCPServer::progressValueChanged(double bytesSent, double bytesTotal)
{
    Q_UNUSED(bytesTotal)
    m_replies.send(consolereport::ofProgress(bytesSent));
}

void TCPServer::slotnetconnected()
{
    qCDebug(logConsole).noquote() << QLatin1String("slotnetconnected") + QString(84, 'x');
    m_commands.networkConnected();
}

void TCPServer::slotSignalEDID(const QList<QString> &result)
{
    const QString report = QStringList(result).join(QString());
    qCDebug(logConsole) << "SendDataPARSEEDIDRESULT:" << report;
    m_replies.send(consolereport::ofEdid(report));
}

void TCPServer::slotResponse(const QByteArray &datas)
{
    const ConsolePeer &target = m_replies.target();
    qCDebug(logConsoleBytes) << target.address << ":" << target.port << ":" << datas;
    m_replies.send(consolereport::ofNetReply(datas));
}
