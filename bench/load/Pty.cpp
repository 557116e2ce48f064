// SPDX-License-Identifier: Apache-2.0
#include "load/Pty.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <system_error>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr int pieceSize = 4096;
/** The pause between polls while no host has the other end open. */
constexpr auto lookForHostPause = 1ms;

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

Pty::Pty(std::string linkPath) : m_linkPath(std::move(linkPath))
{
    m_fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    termios settings{};
    if (m_fd < 0 || grantpt(m_fd) != 0 || unlockpt(m_fd) != 0 || tcgetattr(m_fd, &settings) != 0)
        fail("pseudo-terminal");
    // Bytes must not be changed.
    cfmakeraw(&settings);
    tcsetattr(m_fd, TCSANOW, &settings);
    if (std::filesystem::is_symlink(m_linkPath))
        std::filesystem::remove(m_linkPath);
    std::filesystem::create_symlink(ptsname(m_fd), m_linkPath);
}

Pty::~Pty()
{
    ::close(m_fd);
    std::error_code ignored;
    std::filesystem::remove(m_linkPath, ignored);
}

std::optional<QByteArray> Pty::tryRead()
{
    QByteArray bytes(pieceSize, Qt::Uninitialized);
    const ssize_t count = ::read(m_fd, bytes.data(), size_t(bytes.size()));
    if (count > 0) {
        bytes.truncate(int(count));
        return bytes;
    }
    if (count < 0 && errno == EIO)
        std::this_thread::sleep_for(lookForHostPause);
    return std::nullopt;
}

std::optional<QByteArray> Pty::read()
{
    for (;;) {
        pollfd state{m_fd, POLLIN, 0};
        if (poll(&state, 1, -1) < 0)
            return std::nullopt;
        if (auto bytes = tryRead())
            return bytes;
        // Without a host, poll() does not wait, and the caller must be able to stop.
        if ((state.revents & POLLHUP) != 0)
            return std::nullopt;
    }
}

void Pty::write(const QByteArray &bytes)
{
    if (::write(m_fd, bytes.constData(), size_t(bytes.size())) != bytes.size())
        fail("pseudo-terminal");
}
