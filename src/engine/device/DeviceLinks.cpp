// SPDX-License-Identifier: Apache-2.0
#include "engine/device/DeviceLinks.h"

#include "engine/report/EngineOutput.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "platform/Log.h"
#include "protocol/WireText.h"

using links::DeviceLink;
using platform::logEngine;
using protocol::filled;

namespace engine {

namespace {

/** A network link whose frames count when replies are matched. */
DeviceLink *pairedTelnet(QObject *parent)
{
    auto *network = new CoreTelnet(parent);
    network->setFrameHook([](const QByteArray &frame) {
        links::noteFrame(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
    });
    return network;
}

} // namespace

LinkFactory::LinkFactory()
    : serial([](QObject *parent) { return new CoreCOMQ(parent); }), network(pairedTelnet)
{
}

DeviceLinks::DeviceLinks(const LinkFactory &factory, const EngineOutput &output,
                         const QString &baudRate, QObject *parent)
    : QObject(parent), m_factory(factory), m_output(output), m_baudRate(baudRate)
{
    adopt(configured());
}

void DeviceLinks::open(const QString &port)
{
    m_portName = port;
    adopt(configured());
    const bool opened = m_serial != nullptr && m_serial->openAt(m_portName, m_baudRate.toInt());
    m_down = !opened;
    if (opened) {
        m_output.list({QString::fromLatin1(protocol::key::connectSuccess), m_portName});
        return;
    }
    close();
    m_output.say(filled(protocol::key::connectFail));
    m_output.say(filled(text::connectFailed, m_portName));
}

void DeviceLinks::close()
{
    switch (m_active) {
    case Kind::Serial:
        qCDebug(logEngine) << "all_disconnected";
        m_serial->close();
        m_output.say(filled(text::disconnect));
        m_output.say(filled(text::portDisconnected, m_portName));
        break;
    case Kind::Network:
        qCDebug(logEngine) << "slotdisconnectednet";
        m_network->close();
        adopt(configured());
        break;
    case Kind::None:
        break;
    }
}

void DeviceLinks::connectNetwork(const QString &address, quint16 port)
{
    makeNetwork();
    m_network->openAt(address, port);
}

void DeviceLinks::makeSerial()
{
    if (m_serial != nullptr)
        return;
    m_serial = m_factory.serial(this);
    relay(m_serial);
}

void DeviceLinks::makeNetwork()
{
    if (m_network != nullptr)
        return;
    m_network = m_factory.network(this);
    relay(m_network);
    connect(m_network, &DeviceLink::opened, this, [this] {
        m_down = false;
        adopt(Kind::Network);
        emit networkConnected();
    });
    connect(m_network, &DeviceLink::lost, this, &DeviceLinks::networkDisconnected);
}

/** Only the active link's replies are used. */
void DeviceLinks::relay(DeviceLink *link)
{
    connect(link, &DeviceLink::received, this, [this, link](const QByteArray &chunk) {
        if (link == activeLink())
            emit received(chunk);
    });
}

DeviceLinks::Kind DeviceLinks::configured()
{
    switch (g_CONNECTTYPE) {
    case links::serial:
        return Kind::Serial;
    case links::network:
        return Kind::Network;
    default:
        return Kind::None;
    }
}

/** Makes a link the active one: frames are sent on it, and replies are received from it. */
void DeviceLinks::adopt(Kind kind)
{
    if (kind == Kind::Serial)
        makeSerial();
    if (kind == Kind::Network)
        makeNetwork();
    else if (m_network != nullptr)
        m_network->close(); // a pending connection would become active during a run
    m_active = kind;
    emit switched(activeLink());
}

DeviceLink *DeviceLinks::activeLink() const
{
    if (m_active == Kind::None)
        return nullptr;
    return m_active == Kind::Serial ? m_serial : m_network;
}

bool DeviceLinks::isOpen() const
{
    return !m_down && activeLink() != nullptr && activeLink()->isOpen();
}

bool DeviceLinks::send(const QByteArray &frame)
{
    return activeLink() != nullptr && activeLink()->send(frame);
}

bool DeviceLinks::sendSerial(const QByteArray &frame)
{
    return m_serial != nullptr && m_serial->send(frame);
}

} // namespace engine
