// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-web/Service.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QSocketNotifier>
#include <QThreadPool>
#include <QTimer>

#include <memory>

struct MHD_Connection;
struct MHD_Daemon;

Q_DECLARE_METATYPE(std::function<void()>)

namespace web {

/** Limits of the connections. */
struct HttpLimits
{
    std::chrono::milliseconds idle = std::chrono::seconds(30);
    /** Between two comment lines of an event stream. */
    std::chrono::milliseconds heartbeat = std::chrono::seconds(15);
    /** The slowest upload that is not ended, in bytes per second. */
    qint64 slowestUpload = qint64{16} * 1024;
    int connections = 512;
    int streams = 128;
    /** Of the headers and the send buffer of a connection, in bytes. */
    int memory = 32 * 1024;
};

struct HttpSettings
{
    QHostAddress address;
    quint16 port = 0;
    /** PEM; both or none. */
    QByteArray certificate;
    QByteArray key;
    HttpLimits limits;
};

/**
 * The sockets of the server: HTTP/1.1 by libmicrohttpd, in the event loop of its thread. Only the
 * parts of replies that take long run in a thread of a pool, and these have no shared state.
 */
class HttpServer : public QObject
{
    Q_OBJECT

public:
    HttpServer(Service &service, const HttpSettings &settings, QObject *parent = nullptr);
    ~HttpServer() override;

    /** False when the address cannot be used. */
    bool start();
    /** The port that the server listens on. */
    quint16 port() const { return m_port; }

signals:
    /** From a thread of the pool; the server calls `rest` in its own thread. */
    void workDone(const std::function<void()> &rest);

private:
    struct Exchange;
    struct Stream;
    struct Peer;
    struct Callbacks;

    void run();
    int begin(Exchange &exchange);
    int answer(Exchange &exchange);
    int reply(Exchange &exchange, Reply reply);
    int send(Exchange &exchange, const Response &response);
    int stream(Exchange &exchange, const StreamStart &start);
    void resume(MHD_Connection *connection);
    void wakeStreams();
    void onHeartbeat();
    void endSlowPeers();

    Service &m_service;
    const HttpSettings m_settings;
    MHD_Daemon *m_daemon = nullptr;
    quint16 m_port = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_timeOut;
    QTimer m_heartbeat;
    QTimer m_sweep;
    QThreadPool m_pool;
    QHash<MHD_Connection *, Peer *> m_peers;
    QVector<Stream *> m_streams;
};

} // namespace web
