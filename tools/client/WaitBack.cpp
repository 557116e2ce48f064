// SPDX-License-Identifier: Apache-2.0
#include "client/WaitBack.h"

#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;

namespace client {

namespace {

using namespace std::chrono_literals;

/** A board with a slow flash takes a minute or two. */
constexpr auto longest = 5min;
constexpr auto betweenTries = 1s;
constexpr std::chrono::milliseconds oneTry = 5s;

} // namespace

WaitBack::WaitBack(const QString &host, quint16 port) : m_host(host), m_port(port)
{
    m_next.setSingleShot(true);
    m_next.setInterval(betweenTries);
    m_limit.setSingleShot(true);
    m_limit.setInterval(longest);
    connect(&m_next, &QTimer::timeout, this, &WaitBack::tryOnce);
    connect(&m_limit, &QTimer::timeout, this, [this] {
        m_next.stop();
        if (m_agent)
            m_agent->close();
        emit missing();
    });
}

void WaitBack::start()
{
    m_limit.start();
    m_next.start();
}

void WaitBack::tryOnce()
{
    m_agent = std::make_unique<AgentConnection>(m_host, m_port, oneTry);
    connect(m_agent.get(), &AgentConnection::connected, this, [this] {
        m_agent->watchLife(true);
        m_agent->request(QByteArray(consoletext::version.data(), consoletext::version.size()));
    });
    connect(m_agent.get(), &AgentConnection::received, this, [this](const AgentReply &reply) {
        if (reply.kind != AgentReply::Kind::Version)
            return;
        m_limit.stop();
        m_agent->close();
        emit back(reply.text);
    });
    connect(m_agent.get(), &AgentConnection::lost, this, &WaitBack::tryLater);
    m_agent->open();
}

void WaitBack::tryLater()
{
    if (isRunning())
        m_next.start();
}

} // namespace client
