// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/FdPort.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr auto hostLookInterval = 20ms;
constexpr int chunkSize = 4096;
/** More than any answer; further unread bytes are lost. */
constexpr int unwrittenLimit = 1024 * 1024;

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

/** A new terminal echoes and edits lines until its host disables this; a device does not. */
void makeRaw(int fd)
{
    termios settings{};
    if (isatty(fd) == 1 && tcgetattr(fd, &settings) == 0) {
        cfmakeraw(&settings);
        tcsetattr(fd, TCSANOW, &settings);
    }
}

/** The target of a symbolic link; empty for other files. */
QByteArray targetOf(const QString &link)
{
    std::array<char, PATH_MAX> target;
    const ssize_t size =
        ::readlink(QFile::encodeName(link).constData(), target.data(), target.size());
    return QByteArray(target.data(), int(std::max<ssize_t>(size, 0)));
}

/** A link that may be replaced: it leads to an existing or a closed pseudo-terminal. */
bool isLinkOfASimulator(const QString &path)
{
    // The slaves of Unix 98 pseudo-terminals, in Linux's list of devices.
    constexpr unsigned firstMajor = 136;
    constexpr unsigned lastMajor = 143;
    struct stat found
    {
    };
    if (targetOf(path).isEmpty())
        return false;
    if (::stat(QFile::encodeName(path).constData(), &found) != 0)
        return errno == ENOENT;
    return S_ISCHR(found.st_mode) && major(found.st_rdev) >= firstMajor &&
           major(found.st_rdev) <= lastMajor;
}

} // namespace

FdPort::FdPort(int fd, QObject *parent) : DevicePort(parent), m_fd(fd)
{
    m_lookForHost.setInterval(hostLookInterval);
    connect(&m_lookForHost, &QTimer::timeout, this, &FdPort::lookForHost);
}

FdPort::~FdPort()
{
    m_reader.reset();
    m_writer.reset();
    if (m_fd >= 0)
        ::close(m_fd);
}

bool FdPort::open(QString *error)
{
    const int flags = fcntl(m_fd, F_GETFL);
    if (flags < 0 || fcntl(m_fd, F_SETFL, flags | O_NONBLOCK) < 0 ||
        fcntl(m_fd, F_SETFD, FD_CLOEXEC) < 0) {
        *error = QStringLiteral("descriptor %1: %2").arg(m_fd).arg(systemError());
        m_fd = -1;
        return false;
    }
    makeRaw(m_fd);
    m_reader = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Read);
    m_writer = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Write);
    m_writer->setEnabled(false);
    connect(m_reader.get(), &QSocketNotifier::activated, this, &FdPort::onReadable);
    connect(m_writer.get(), &QSocketNotifier::activated, this, &FdPort::onWritable);
    return true;
}

QString FdPort::address() const
{
    return QStringLiteral("fd:%1").arg(m_fd);
}

void FdPort::onReadable()
{
    QByteArray bytes(chunkSize, Qt::Uninitialized);
    const ssize_t count = ::read(m_fd, bytes.data(), size_t(bytes.size()));
    if (count > 0) {
        bytes.truncate(int(count));
        emit received(bytes);
        return;
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    // A terminal reports an input error while no host has it open.
    if (count < 0 && errno == EIO) {
        waitForHost();
        return;
    }
    m_reader->setEnabled(false);
    emit closed();
}

void FdPort::waitForHost()
{
    m_reader->setEnabled(false);
    m_writer->setEnabled(false);
    m_unwritten.clear();
    // The next host must not receive the unread bytes of the previous one.
    tcflush(m_fd, TCOFLUSH);
    m_lookForHost.start();
}

void FdPort::lookForHost()
{
    pollfd state{m_fd, POLLIN, 0};
    if (::poll(&state, 1, 0) < 0 || (state.revents & POLLHUP) != 0)
        return;
    m_lookForHost.stop();
    m_reader->setEnabled(true);
}

void FdPort::write(const QByteArray &bytes)
{
    if (m_lookForHost.isActive() || m_unwritten.size() > unwrittenLimit)
        return;
    m_unwritten += bytes;
    onWritable();
}

void FdPort::onWritable()
{
    while (!m_unwritten.isEmpty()) {
        const ssize_t count = ::write(m_fd, m_unwritten.constData(), size_t(m_unwritten.size()));
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            m_unwritten.clear();
        if (count <= 0)
            break;
        m_unwritten.remove(0, int(count));
    }
    m_writer->setEnabled(!m_unwritten.isEmpty());
}

PtyPort::PtyPort(const QString &linkPath, QObject *parent)
    : FdPort(-1, parent), m_linkPath(linkPath)
{
}

PtyPort::~PtyPort()
{
    // Another simulator may have replaced the link meanwhile.
    if (m_isLinked && targetOf(m_linkPath) == ptsname(m_fd))
        QFile::remove(m_linkPath);
}

bool PtyPort::open(QString *error)
{
    m_fd = posix_openpt(O_RDWR | O_NOCTTY);
    if (m_fd < 0 || grantpt(m_fd) != 0 || unlockpt(m_fd) != 0) {
        *error = QStringLiteral("no pseudo-terminal: %1").arg(systemError());
        return false;
    }
    if (!FdPort::open(error))
        return false;
    if (isLinkOfASimulator(m_linkPath))
        QFile::remove(m_linkPath);
    if (!QFile::link(QString::fromLocal8Bit(ptsname(m_fd)), m_linkPath)) {
        *error = QStringLiteral("%1: cannot make the link, %2").arg(m_linkPath, systemError());
        return false;
    }
    m_isLinked = true;
    return true;
}
