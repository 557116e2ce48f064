// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "console/ConsoleEvents.h"
#include "console/PackageTurns.h"
#include "engine/report/RunReporter.h"
#include "planning/UpgradeMode.h"
#include "platform/Platform.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <functional>
#include <memory>

class ConsoleListener;
class ConsoleSocket;
class NetModelUpgrade;
class ParseEDID;
class WorkerCOM;
struct ConsoleRequest;

/**
 * The root of the agent: serves console clients with a text protocol over TCP, makes the worker
 * that runs the upgrade engine, and turns what the engine, the EDID report and the module's own
 * upgrade tell into replies. All replies go to the client that sent the last request.
 */
class TCPServer : public QObject
{
    Q_OBJECT

public:
    using WorkerFactory = std::function<std::unique_ptr<WorkerCOM>(const Platform &platform)>;

    /** Listens at once. When the port is taken, no client is served. Without a factory the worker
     * is that of the upgrade engine. */
    explicit TCPServer(QObject *parent = nullptr, const Platform &platform = Platform(),
                       const WorkerFactory &makeWorker = {});
    ~TCPServer() override;

    /** The port that is listened on, 0 when there is none. */
    quint16 port() const;
    /** Why there is none; empty while listening. */
    QString listenError() const;
    QString version() const { return m_version; }
    const Platform &platform() const { return m_platform; }
    /** For those who watch over the agent. */
    const ConsoleEvents &events() const { return m_events; }
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
    void connectWorker();
    void createEdid();
    void createNetUpgrade();
    void createServer();

    void createGiveBack();

    void limitClients();
    void limitReplies();
    void limitLines();
    void readFrom(const std::shared_ptr<ConsoleClient> &client);
    void serveLines(const std::shared_ptr<ConsoleClient> &client);
    void workOff(const std::shared_ptr<ConsoleClient> &client);
    void takeFragment(const ConsolePeer &peer, const QByteArray &payload);
    void reply(const QString &text);
    void reply(QLatin1String text);
    void write(const QByteArray &bytes);
    void writeTo(ConsoleSocket *socket, const QByteArray &bytes);
    ConsoleSocket *replySocket() const;
    void sendReplies();

    void dispatch(const ConsoleRequest &request);
    void heartbeat();
    void sendFirmwareList();
    void setMode(const ConsoleRequest &request);
    void upgrade(const ConsoleRequest &request);
    void upgradeAll();
    void upgradeOverNetwork(const ConsoleRequest &request);
    void parseEdid(const ConsoleRequest &request);
    void startUpgrade(const QStringList &rows);
    void netInstallStarted(const QString &version);
    void netInstallEnded(bool succeeded);
    QString readDescription();
    bool isBusy() const;

    void statusMessage(const QStringList &message);

    Platform m_platform;
    QString m_version = QStringLiteral("1.15");
    std::unique_ptr<WorkerCOM> m_worker;
    ConsoleListener *m_server = nullptr;
    QVector<std::shared_ptr<ConsoleClient>> m_clients;
    /** The one whose socket signals just now. */
    std::shared_ptr<ConsoleClient> m_signalling;
    /** Takes one read, whoever's it is. */
    QByteArray m_read;
    bool m_full = false;
    /** The most at the same time since memory was last given back. */
    int m_mostClients = 0;
    QTimer m_giveBack;
    /** Who sent the last request. Replies go there, or to whoever has come from the same place
     *  since. */
    std::shared_ptr<ConsoleClient> m_replyTarget = std::make_shared<ConsoleClient>();
    PackageTurns m_turns;
    int m_upgradeModel = upgradeMode::newerOnly;
    ParseEDID *m_edid = nullptr;
    /** The dump being reported; the reporter keeps a pointer to it. */
    QByteArray m_edidBytes;
    NetModelUpgrade *m_netUpgrade = nullptr;
    /** Who has sent the last piece of a NET package, and who asked for the network link. */
    ConsolePeer m_fragmentPeer;
    RunRequest m_networkRequest;
    ConsoleEvents m_events;
    RunReporter m_netReport;

    /** While one read is worked off, its replies leave together. Sockets are deleted by the event
     *  loop only, so none can go in the meantime. */
    bool m_collectReplies = false;
    ConsoleSocket *m_unsentTo = nullptr;
    QByteArray m_unsent;
};
