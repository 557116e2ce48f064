// SPDX-License-Identifier: Apache-2.0
#include "links/SerialPort.h"

#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <unistd.h>

namespace links {

namespace {

/** The size of the kernel's buffer of a serial line. */
constexpr std::size_t longestChunk = 4096;

} // namespace

SerialPort::~SerialPort()
{
    if (isOpen())
        SerialPort::close();
}

bool SerialPort::open(OpenMode mode)
{
    if (!QSerialPort::open(mode))
        return false;
    const auto notifiers = findChildren<QSocketNotifier *>();
    for (QSocketNotifier *const notifier : notifiers) {
        // Notifiers of an earlier open() may still exist.
        if (notifier->type() == QSocketNotifier::Read && notifier->isEnabled())
            m_qtNotifier = notifier;
    }
    if (m_qtNotifier != nullptr) {
        m_qtNotifier->setEnabled(false);
        m_notifier = new QSocketNotifier(handle(), QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &SerialPort::readyRead);
    }
    return true;
}

/** The notifier may be the caller. */
void SerialPort::close()
{
    if (m_notifier != nullptr) {
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    m_qtNotifier = nullptr;
    QSerialPort::close();
}

QByteArray SerialPort::fetch()
{
    if (m_notifier == nullptr || !m_notifier->isEnabled())
        return readAll();
    std::array<char, longestChunk> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const ssize_t count = ::read(handle(), buffer.data(), buffer.size());
    if (count > 0)
        return {buffer.data(), int(count)};
    // The line has hung up or has an error: Qt's notifier finds and reports it.
    m_notifier->setEnabled(false);
    m_qtNotifier->setEnabled(true);
    return {};
}

void SerialPort::send(const char *bytes, qint64 length)
{
    ssize_t sent = 0;
    if (bytesToWrite() == 0)
        sent = std::max<ssize_t>(::write(handle(), bytes, size_t(length)), 0);
    if (sent < length)
        write(bytes + sent, length - sent);
}

} // namespace links
