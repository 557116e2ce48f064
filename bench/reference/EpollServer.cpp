// SPDX-License-Identifier: Apache-2.0
// The practical limit of a line server: epoll, read, write, and nothing else.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>

namespace {

constexpr std::string_view request = "HEARTBEAT\r\n";
constexpr int backlog = 1024;
constexpr int eventBatch = 256;

int listenOn(uint16_t port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    const bool bound = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    return bound && listen(fd, backlog) == 0 ? fd : -1;
}

void watch(int epoll, int fd)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

/** The replies to all complete lines; the rest stays in `input`. */
std::string answer(std::string &input)
{
    std::string replies;
    size_t start = 0;
    for (size_t end = input.find('\n'); end != std::string::npos; end = input.find('\n', start)) {
        const std::string_view line(input.data() + start, end + 1 - start);
        if (line == request)
            replies += request;
        start = end + 1;
    }
    input.erase(0, start);
    return replies;
}

class EpollServer
{
public:
    explicit EpollServer(int listener) : m_listener(listener), m_epoll(epoll_create1(EPOLL_CLOEXEC))
    {
        watch(m_epoll, listener);
    }

    void run()
    {
        std::array<epoll_event, eventBatch> events{};
        for (;;) {
            const int count = epoll_wait(m_epoll, events.data(), int(events.size()), -1);
            std::for_each(events.begin(), events.begin() + std::max(count, 0),
                          [this](const epoll_event &event) { serve(event.data.fd); });
        }
    }

private:
    void serve(int fd)
    {
        if (fd == m_listener)
            accept();
        else
            read(fd);
    }

    void accept()
    {
        const int fd = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return;
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        m_inputs[fd];
        watch(m_epoll, fd);
    }

    void read(int fd)
    {
        char bytes[16 * 1024];
        const ssize_t count = ::read(fd, bytes, sizeof bytes);
        if (count <= 0) {
            m_inputs.erase(fd);
            close(fd);
            return;
        }
        std::string &input = m_inputs[fd];
        input.append(bytes, size_t(count));
        const std::string replies = answer(input);
        if (!replies.empty() && write(fd, replies.data(), replies.size()) < 0)
            std::perror("epoll-server: write");
    }

    int m_listener;
    int m_epoll;
    std::unordered_map<int, std::string> m_inputs;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: epoll-server PORT\n", stderr);
        return 2;
    }
    const int listener = listenOn(uint16_t(std::atoi(argv[1])));
    if (listener < 0) {
        std::perror("epoll-server: listen");
        return 1;
    }
    EpollServer(listener).run();
}
