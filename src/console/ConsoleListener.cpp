// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleListener.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace console {

namespace {

/** The pause in accepting clients after an error. */
constexpr std::chrono::milliseconds restTime{1'000};
/** Connections in the kernel's queue. A client beyond it connects at least a second later. */
constexpr int backlog = 4'096;

/** A client that closed its connection before it was accepted needs no pause. */
bool isPassing(int error)
{
    return error == EINTR || error == ECONNABORTED || error == EPROTO;
}

} // namespace

ConsoleListener::ConsoleListener(QObject *parent) : QTcpServer(parent)
{
    m_rest.setSingleShot(true);
    m_rest.setInterval(restTime);
    connect(&m_rest, &QTimer::timeout, this, &ConsoleListener::refresh);
}

bool ConsoleListener::start(quint16 port)
{
    if (!listen(QHostAddress::Any, port))
        return false;
    pauseAccepting();
    ::listen(int(socketDescriptor()), backlog);
    m_notifier = std::make_unique<QSocketNotifier>(socketDescriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &ConsoleListener::acceptClients);
    return true;
}

void ConsoleListener::setAccepting(bool accepting)
{
    m_accepting = accepting;
    refresh();
}

ConsoleSocket *ConsoleListener::nextPendingConnection()
{
    return std::exchange(m_next, nullptr);
}

void ConsoleListener::acceptClients()
{
    while (m_accepting) {
        const int descriptor =
            ::accept4(int(socketDescriptor()), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (descriptor >= 0) {
            m_failing = false;
            handOut(descriptor);
        } else if (!isPassing(errno)) {
            if (errno != EAGAIN)
                restAfter(errno);
            return;
        }
    }
}

void ConsoleListener::handOut(int descriptor)
{
    m_next = new ConsoleSocket(this);
    if (m_next->start(descriptor))
        emit newConnection();
    else
        ::close(descriptor);
    delete nextPendingConnection();
}

void ConsoleListener::restAfter(int error)
{
    m_rest.start();
    refresh();
    if (!std::exchange(m_failing, true))
        emit cannotAccept(qt_error_string(error));
}

void ConsoleListener::refresh()
{
    if (m_notifier)
        m_notifier->setEnabled(m_accepting && !m_rest.isActive());
}

} // namespace console
