// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/HttpServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRunnable>

#include <microhttpd.h>

#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace web {

namespace {

using namespace std::chrono_literals;

constexpr auto sweepEvery = 1s;
/** A request with a small body has to be complete within this time. */
constexpr std::chrono::milliseconds wholeRequest = 30s;
constexpr int threads = 2;
constexpr int backlog = 128;
constexpr std::size_t streamBlock = std::size_t{16} * 1024;

/** Sent with every response. */
const struct
{
    const char *name;
    const char *value;
} safety[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src "
     "'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

void addHeaders(MHD_Response *out, const Response &response)
{
    MHD_add_response_header(out, MHD_HTTP_HEADER_CONTENT_TYPE, response.type.constData());
    for (const auto &one : safety)
        MHD_add_response_header(out, one.name, one.value);
    for (const auto &header : response.headers)
        MHD_add_response_header(out, header.first.constData(), header.second.constData());
    if (fieldOf(response.headers, MHD_HTTP_HEADER_CACHE_CONTROL).isEmpty())
        MHD_add_response_header(out, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
}

MHD_Result addField(void *fields, MHD_ValueKind, const char *name, const char *value)
{
    static_cast<Fields *>(fields)->append({QByteArray(name), QByteArray(value)});
    return MHD_YES;
}

Fields fieldsFrom(MHD_Connection *connection, MHD_ValueKind kind)
{
    Fields fields;
    MHD_get_connection_values(connection, kind, addField, &fields);
    return fields;
}

QString peerOf(MHD_Connection *connection)
{
    const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info ? QHostAddress(info->client_addr).toString() : QString();
}

/** A part of a reply in a thread of the pool, where it calls `done`. */
class Job : public QRunnable
{
public:
    Job(Work work, std::function<void(const Finish &)> done)
        : m_work(std::move(work)), m_done(std::move(done))
    {
    }

    void run() override
    {
        // What the work holds ends before its reply is sent: a refused upload leaves no file.
        const Finish finish = std::exchange(m_work, nullptr)();
        m_done(finish);
    }

private:
    Work m_work;
    std::function<void(const Finish &)> m_done;
};

int listeningSocket(const QHostAddress &address, quint16 port)
{
    sockaddr_storage storage = {};
    socklen_t length = sizeof(sockaddr_in);
    if (address.protocol() == QAbstractSocket::IPv6Protocol) {
        auto *v6 = reinterpret_cast<sockaddr_in6 *>(&storage);
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(port);
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::memcpy(&v6->sin6_addr, &bytes, sizeof bytes);
        length = sizeof(sockaddr_in6);
    } else {
        auto *v4 = reinterpret_cast<sockaddr_in *>(&storage);
        v4->sin_family = AF_INET;
        v4->sin_port = htons(port);
        v4->sin_addr.s_addr = htonl(address.toIPv4Address());
    }
    const int descriptor =
        ::socket(storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    if (descriptor < 0)
        return -1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(descriptor, reinterpret_cast<const sockaddr *>(&storage), length) == 0 &&
        ::listen(descriptor, backlog) == 0)
        return descriptor;
    ::close(descriptor);
    return -1;
}

quint16 portOf(int socket)
{
    sockaddr_storage storage = {};
    socklen_t length = sizeof storage;
    ::getsockname(socket, reinterpret_cast<sockaddr *>(&storage), &length);
    // The port is at the same place in both kinds of addresses.
    return ntohs(reinterpret_cast<const sockaddr_in *>(&storage)->sin_port);
}

} // namespace

/** One connection: when it became idle, for the limit on slow requests. */
struct HttpServer::Peer
{
    int descriptor = -1;
    QElapsedTimer since;
    /** Its request is being answered; other limits hold. */
    bool isServed = false;
    std::chrono::milliseconds limit{0};
};

/** One request and its reply. */
struct HttpServer::Exchange
{
    HttpServer *server = nullptr;
    MHD_Connection *connection = nullptr;
    Request request;
    const Route *route = nullptr;
    std::shared_ptr<PackageUpload> upload;
    bool isTooLarge = false;
    bool isAnswered = false;
    /** The rest of a reply whose long part is done. */
    Finish finish;
};

/** One viewer's stream of events. */
struct HttpServer::Stream
{
    HttpServer *server = nullptr;
    MHD_Connection *connection = nullptr;
    Request request;
    std::optional<qint64> position;
    QByteArray pending;
    bool isHeartbeatDue = false;
    bool isSuspended = false;

    void fill();
    ssize_t read(char *buffer, std::size_t size);
};

void HttpServer::Stream::fill()
{
    const EventLog &events = server->m_service.events();
    if (!position || !events.hasAllAfter(*position)) {
        pending = server->m_service.snapshotFrame();
        position = events.newest();
        return;
    }
    while (*position < events.newest() && pending.size() < int(streamBlock)) {
        ++*position;
        pending += events.frame(*position);
    }
    if (pending.isEmpty() && isHeartbeatDue)
        pending = ": \n\n";
    isHeartbeatDue = false;
}

ssize_t HttpServer::Stream::read(char *buffer, std::size_t size)
{
    if (pending.isEmpty() && isHeartbeatDue && !server->m_service.mayWatch(request))
        return MHD_CONTENT_READER_END_OF_STREAM;
    if (pending.isEmpty())
        fill();
    if (pending.isEmpty()) {
        isSuspended = true;
        MHD_suspend_connection(connection);
        return 0;
    }
    const auto count = std::min(size, std::size_t(pending.size()));
    std::memcpy(buffer, pending.constData(), count);
    pending.remove(0, int(count));
    return ssize_t(count);
}

/** The functions that libmicrohttpd calls; each finds its object and hands over. */
struct HttpServer::Callbacks
{
    static MHD_Result request(void *server, MHD_Connection *connection, const char *url,
                              const char *method, const char *, const char *data, std::size_t *size,
                              void **context)
    {
        auto &self = *static_cast<HttpServer *>(server);
        if (*context == nullptr) {
            auto *exchange = new Exchange;
            *context = exchange;
            exchange->server = &self;
            exchange->connection = connection;
            Request &head = exchange->request;
            head.method = method;
            head.path = url;
            head.peer = peerOf(connection);
            head.query = fieldsFrom(connection, MHD_GET_ARGUMENT_KIND);
            head.headers = fieldsFrom(connection, MHD_HEADER_KIND);
            head.cookies = fieldsFrom(connection, MHD_COOKIE_KIND);
            return MHD_Result(self.begin(*exchange));
        }
        auto &exchange = *static_cast<Exchange *>(*context);
        if (*size > 0) {
            take(exchange, data, *size);
            *size = 0;
            return MHD_YES;
        }
        return MHD_Result(self.answer(exchange));
    }

    static void take(Exchange &exchange, const char *data, std::size_t size)
    {
        if (exchange.upload)
            exchange.upload->write(data, qint64(size));
        else if (exchange.route &&
                 exchange.request.body.size() + qint64(size) <= exchange.route->bodyLimit)
            exchange.request.body.append(data, int(size));
        else
            exchange.isTooLarge = true;
    }

    static void completed(void *server, MHD_Connection *connection, void **context,
                          MHD_RequestTerminationCode)
    {
        auto &self = *static_cast<HttpServer *>(server);
        auto *exchange = static_cast<Exchange *>(*context);
        if (exchange && exchange->upload)
            self.m_service.abandonUpload();
        delete exchange;
        *context = nullptr;
        if (Peer *peer = self.m_peers.value(connection)) {
            peer->isServed = false;
            peer->since.start();
            peer->limit = self.m_settings.limits.idle;
        }
    }

    static void connection(void *server, MHD_Connection *connection, void **,
                           MHD_ConnectionNotificationCode code)
    {
        auto &self = *static_cast<HttpServer *>(server);
        if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
            delete self.m_peers.take(connection);
            return;
        }
        auto *peer = new Peer;
        const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        peer->descriptor = info ? info->connect_fd : -1;
        peer->since.start();
        peer->limit = self.m_settings.limits.idle;
        self.m_peers[connection] = peer;
    }

    static ssize_t readStream(void *stream, std::uint64_t, char *buffer, std::size_t size)
    {
        return static_cast<Stream *>(stream)->read(buffer, size);
    }

    static void freeStream(void *closure)
    {
        auto *stream = static_cast<Stream *>(closure);
        HttpServer &server = *stream->server;
        server.m_streams.removeOne(stream);
        server.m_service.setViewers(server.m_streams.size());
        delete stream;
    }
};

HttpServer::HttpServer(Service &service, const HttpSettings &settings, QObject *parent)
    : QObject(parent), m_service(service), m_settings(settings)
{
    m_pool.setMaxThreadCount(threads);
    m_timeOut.setSingleShot(true);
    m_heartbeat.setInterval(settings.limits.heartbeat);
    m_sweep.setInterval(sweepEvery);
    connect(&m_timeOut, &QTimer::timeout, this, &HttpServer::run);
    connect(&m_heartbeat, &QTimer::timeout, this, &HttpServer::onHeartbeat);
    connect(&m_sweep, &QTimer::timeout, this, &HttpServer::endSlowPeers);
    connect(&service, &Service::eventAdded, this, &HttpServer::wakeStreams);
    // The signal's copy of the function belongs to this thread alone.
    connect(
        this, &HttpServer::workDone, this, [](const std::function<void()> &rest) { rest(); },
        Qt::QueuedConnection);
}

HttpServer::~HttpServer()
{
    m_pool.waitForDone();
    // The rests of the last replies, which resume their connections.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    wakeStreams();
    if (m_daemon)
        MHD_stop_daemon(m_daemon);
}

bool HttpServer::start()
{
    const int socket = listeningSocket(m_settings.address, m_settings.port);
    if (socket < 0)
        return false;
    m_port = portOf(socket);
    const HttpLimits &limits = m_settings.limits;
    const bool hasTls = !m_settings.key.isEmpty();
    unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME;
    std::vector<MHD_OptionItem> options{
        {MHD_OPTION_LISTEN_SOCKET, socket, nullptr},
        {MHD_OPTION_CONNECTION_LIMIT, limits.connections, nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, limits.memory, nullptr},
        {MHD_OPTION_CONNECTION_TIMEOUT,
         std::chrono::duration_cast<std::chrono::seconds>(limits.idle).count(), nullptr},
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<intptr_t>(&Callbacks::completed), this},
        {MHD_OPTION_NOTIFY_CONNECTION, reinterpret_cast<intptr_t>(&Callbacks::connection), this},
    };
    if (hasTls) {
        flags |= MHD_USE_TLS;
        options.push_back(
            {MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(m_settings.certificate.constData())});
        options.push_back(
            {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(m_settings.key.constData())});
    }
    options.push_back({MHD_OPTION_END, 0, nullptr});
    m_daemon = MHD_start_daemon(flags, 0, nullptr, nullptr, &Callbacks::request, this,
                                MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
    if (!m_daemon) {
        ::close(socket);
        return false;
    }
    const int epoll = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    m_notifier = std::make_unique<QSocketNotifier>(epoll, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &HttpServer::run);
    m_heartbeat.start();
    m_sweep.start();
    run();
    return true;
}

/** Handles what is ready, and comes back when the library wants it, which has no timer. */
void HttpServer::run()
{
    MHD_run(m_daemon);
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    if (MHD_get_timeout(m_daemon, &milliseconds) == MHD_YES)
        m_timeOut.start(std::chrono::milliseconds(milliseconds));
    else
        m_timeOut.stop();
}

int HttpServer::begin(Exchange &exchange)
{
    if (Peer *peer = m_peers.value(exchange.connection)) {
        const qint64 size = exchange.request.header("Content-Length").toLongLong();
        peer->since.start();
        peer->limit = wholeRequest + std::chrono::seconds(size / m_settings.limits.slowestUpload);
    }
    Service::Admission admission = m_service.admit(exchange.request);
    exchange.route = admission.route;
    exchange.upload = admission.upload;
    return admission.refusal ? send(exchange, *admission.refusal) : MHD_YES;
}

/** The request has arrived, or the long part of its reply is done. */
int HttpServer::answer(Exchange &exchange)
{
    if (exchange.finish) {
        const Response response = std::exchange(exchange.finish, nullptr)();
        return send(exchange, response);
    }
    if (Peer *peer = m_peers.value(exchange.connection))
        peer->isServed = true;
    if (exchange.isTooLarge)
        return send(exchange, refusal({}, ProblemId::UploadTooLarge));
    if (exchange.upload)
        return reply(exchange, m_service.finishUpload(std::exchange(exchange.upload, nullptr)));
    return reply(exchange, m_service.handle(exchange.request, *exchange.route));
}

int HttpServer::reply(Exchange &exchange, Reply reply)
{
    if (const auto *response = std::get_if<Response>(&reply))
        return send(exchange, *response);
    if (const auto *start = std::get_if<StreamStart>(&reply))
        return stream(exchange, *start);
    // While it is suspended the connection is neither read nor closed, so the exchange stays.
    MHD_suspend_connection(exchange.connection);
    m_pool.start(new Job(std::get<Work>(std::move(reply)), [this, &exchange](const Finish &finish) {
        emit workDone([this, &exchange, finish] {
            exchange.finish = finish;
            resume(exchange.connection);
        });
    }));
    return MHD_YES;
}

int HttpServer::send(Exchange &exchange, const Response &response)
{
    MHD_Response *out = MHD_create_response_from_buffer(
        std::size_t(response.body.size()), const_cast<char *>(response.body.constData()),
        MHD_RESPMEM_MUST_COPY);
    addHeaders(out, response);
    const int result = MHD_queue_response(exchange.connection, unsigned(response.status), out);
    MHD_destroy_response(out);
    return result;
}

int HttpServer::stream(Exchange &exchange, const StreamStart &start)
{
    if (m_streams.size() >= m_settings.limits.streams)
        return send(exchange, refusal(QStringLiteral("events"), ProblemId::TooManyViewers));
    auto *stream = new Stream;
    stream->server = this;
    stream->connection = exchange.connection;
    stream->request = exchange.request;
    stream->position = start.after;
    m_streams.append(stream);
    m_service.setViewers(m_streams.size());
    MHD_Response *out = MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, streamBlock, &Callbacks::readStream, stream, &Callbacks::freeStream);
    addHeaders(out, {200, "text/event-stream", {}, {}});
    const int result = MHD_queue_response(exchange.connection, MHD_HTTP_OK, out);
    MHD_destroy_response(out);
    return result;
}

/** A resumed connection is not an event of the library's descriptor in every case. */
void HttpServer::resume(MHD_Connection *connection)
{
    MHD_resume_connection(connection);
    m_timeOut.start(0ms);
}

void HttpServer::wakeStreams()
{
    for (Stream *stream : qAsConst(m_streams)) {
        if (std::exchange(stream->isSuspended, false))
            resume(stream->connection);
    }
}

/** Also finds the streams whose viewers are gone. */
void HttpServer::onHeartbeat()
{
    for (Stream *stream : qAsConst(m_streams))
        stream->isHeartbeatDue = true;
    wakeStreams();
}

/** The library's own time-out begins with every byte, so one byte at a time would last for hours.
 */
void HttpServer::endSlowPeers()
{
    for (Peer *peer : qAsConst(m_peers)) {
        if (!peer->isServed && peer->since.hasExpired(peer->limit.count()))
            ::shutdown(peer->descriptor, SHUT_RDWR);
    }
}

} // namespace web
