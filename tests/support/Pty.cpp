// SPDX-License-Identifier: Apache-2.0
#include "support/Pty.h"

#include "support/WaitFor.h"

#include <cstdlib>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

Pty::Pty() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK))
{
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0)
        qFatal("no pseudo-terminal");
    termios settings{};
    tcgetattr(m_master, &settings);
    cfmakeraw(&settings);
    tcsetattr(m_master, TCSANOW, &settings);
}

QString Pty::port() const
{
    return QString::fromLocal8Bit(ptsname(m_master));
}

unsigned Pty::speed() const
{
    termios settings{};
    tcgetattr(m_master, &settings);
    return cfgetospeed(&settings);
}

void Pty::write(const QByteArray &bytes)
{
    if (::write(m_master, bytes.constData(), size_t(bytes.size())) != bytes.size())
        qFatal("the pseudo-terminal takes no more");
}

QByteArray Pty::read(int count)
{
    QByteArray all;
    waitFor([&] { return (all += readNow()).size() >= count; }, 5'000);
    return all;
}

QByteArray Pty::readNow()
{
    QByteArray chunk(4096, '\0');
    const auto size = ::read(m_master, chunk.data(), size_t(chunk.size()));
    return chunk.left(size > 0 ? int(size) : 0);
}

void Pty::hangUp()
{
    if (m_master >= 0)
        ::close(m_master);
    m_master = -1;
}
