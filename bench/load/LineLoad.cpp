// SPDX-License-Identifier: Apache-2.0
// Loads a line server: a number of clients, each with a number of requests in flight. Prints the
// replies per second and the latencies of one batch as JSON.
#include "load/Percentiles.h"

#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr int eventBatch = 256;
constexpr auto longestSilence = 10s;

struct Options
{
    uint16_t port = 0;
    int clients = 1;
    int depth = 1;
    double seconds = 1.0;
    double warmUpSeconds = 0.2;
    std::string request = "HEARTBEAT";
    std::string reply = "HEARTBEAT";
    /** Between a batch's end and the next batch, in microseconds. */
    int64_t pause = 0;
};

struct Client
{
    int fd = -1;
    std::string input;
    int awaited = 0;
    Nanoseconds sentAt{0};
};

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(1);
}

int connectTo(uint16_t port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        fail("line-load: connect");
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return fd;
}

class LineLoad
{
public:
    explicit LineLoad(Options options)
        : m_options(std::move(options)),
          m_reply(m_options.reply + "\r\n"),
          m_epoll(epoll_create1(EPOLL_CLOEXEC)),
          m_clients(size_t(m_options.clients))
    {
        for (int i = 0; i < m_options.depth; ++i)
            m_batch += m_options.request + "\r\n";
    }

    void run()
    {
        connectAll();
        const auto start = now();
        m_measureFrom = start + seconds(m_options.warmUpSeconds);
        m_end = m_measureFrom + seconds(m_options.seconds);
        for (Client &client : m_clients)
            send(client);
        std::array<epoll_event, eventBatch> events{};
        while (now() < m_end) {
            const int count = epoll_wait(m_epoll, events.data(), int(events.size()),
                                         int(std::chrono::milliseconds(longestSilence).count()));
            if (count == 0) {
                std::fputs("line-load: the server is silent\n", stderr);
                std::exit(1);
            }
            for (int i = 0; i < count; ++i)
                receive(m_clients[events[size_t(i)].data.u32]);
        }
        report();
    }

private:
    static Nanoseconds seconds(double value) { return Nanoseconds(Nanoseconds::rep(value * 1e9)); }

    /** Each client is served once before the next one connects: a server's queue of new connections
     *  is short, and a rejected client tries again only a second later. */
    void connectAll()
    {
        for (size_t i = 0; i < m_clients.size(); ++i) {
            m_clients[i].fd = connectTo(m_options.port);
            greet(m_clients[i].fd);
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.u32 = uint32_t(i);
            epoll_ctl(m_epoll, EPOLL_CTL_ADD, m_clients[i].fd, &event);
        }
    }

    void greet(int fd) const
    {
        const std::string request = m_options.request + "\r\n";
        std::string reply(m_reply.size(), '\0');
        if (write(fd, request.data(), request.size()) < 0 ||
            recv(fd, reply.data(), reply.size(), MSG_WAITALL) != ssize_t(reply.size()) ||
            reply != m_reply)
            fail("line-load: first reply");
    }

    void send(Client &client)
    {
        if (m_options.pause > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(m_options.pause));
        client.awaited = m_options.depth;
        client.sentAt = now();
        if (write(client.fd, m_batch.data(), m_batch.size()) != ssize_t(m_batch.size()))
            fail("line-load: write");
    }

    void receive(Client &client)
    {
        char bytes[64 * 1024];
        const ssize_t count = read(client.fd, bytes, sizeof bytes);
        if (count <= 0)
            fail("line-load: read");
        client.input.append(bytes, size_t(count));
        const int replies = takeReplies(client.input);
        const auto time = now();
        if (time >= m_measureFrom)
            m_replies += replies;
        client.awaited -= replies;
        if (client.awaited > 0)
            return;
        if (client.sentAt >= m_measureFrom)
            m_latencies.push_back(time - client.sentAt);
        send(client);
    }

    /** Counts the replies; other lines, such as a run's progress, are counted separately. */
    int takeReplies(std::string &input)
    {
        int replies = 0;
        size_t start = 0;
        for (size_t end = input.find('\n'); end != std::string::npos;
             end = input.find('\n', start)) {
            if (std::string_view(input.data() + start, end + 1 - start) == m_reply)
                ++replies;
            else
                ++m_otherLines;
            start = end + 1;
        }
        input.erase(0, start);
        return replies;
    }

    void report() const
    {
        const double elapsed = double((now() - m_measureFrom).count()) / 1e9;
        std::printf("{\"rate\": %.1f, \"p50_ns\": %lld, \"p99_ns\": %lld, \"samples\": %zu, "
                    "\"other_lines\": %lld}\n",
                    double(m_replies) / elapsed, percentile(m_latencies, 0.5),
                    percentile(m_latencies, 0.99), m_latencies.size(), m_otherLines);
    }

    Options m_options;
    std::string m_batch;
    std::string m_reply;
    int m_epoll;
    std::vector<Client> m_clients;
    Nanoseconds m_measureFrom{0};
    Nanoseconds m_end{0};
    std::vector<Nanoseconds> m_latencies;
    long long m_replies = 0;
    long long m_otherLines = 0;
};

} // namespace

int main(int argc, char **argv)
try {
    CLI::App application("Loads a line server and prints its rate and latencies.");
    Options options;
    application.add_option("--port", options.port)->required();
    application.add_option("--clients", options.clients);
    application.add_option("--depth", options.depth);
    application.add_option("--seconds", options.seconds);
    application.add_option("--request", options.request);
    application.add_option("--reply", options.reply);
    application.add_option("--pause", options.pause, "microseconds between two batches");
    CLI11_PARSE(application, argc, argv);
    LineLoad(options).run();
    return 0;
} catch (const std::exception &problem) {
    std::fprintf(stderr, "line-load: %s\n", problem.what());
    return 1;
}
