// SPDX-License-Identifier: Apache-2.0
#include "engine/device/DeviceLinks.h"

#include "engine/report/EngineOutput.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "platform/Log.h"
#include "protocol/WireText.h"

namespace {

constexpr int dataBits = 8;
constexpr int stopBits = 1;

bool sendOver(CoreCOMQ &serial, const QByteArray &frame)
{
    return serial.sendMsg(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
}

} // namespace

LinkFactory::LinkFactory()
    : serial([](QObject *parent) { return new CoreCOMQ(parent); }),
      network([](QObject *parent) { return new CoreTelnet(parent); })
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
    openSerial();
}

void DeviceLinks::openSerial()
{
    const bool opened =
        m_serial != nullptr && m_serial->open(m_portName, m_baudRate.toInt(), dataBits, stopBits,
                                              QStringLiteral("NoParity"));
    m_down = !opened;
    if (opened) {
        m_output.list({QString::fromLatin1(key::connectSuccess), m_portName});
        return;
    }
    close();
    m_output.say(filled(key::connectFail));
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
    m_network->connectTo(address, port);
}

void DeviceLinks::makeNetwork()
{
    if (m_network != nullptr)
        return;
    m_network = m_factory.network(this);
    connect(m_network, &CoreTelnet::connected, this, [this] {
        m_down = false;
        adopt(Kind::Network);
        emit networkConnected();
    });
    connect(m_network, &CoreTelnet::disconnected, this, &DeviceLinks::networkDisconnected);
    m_network->setFrameHook([](const QByteArray &frame) {
        link::noteFrame(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
    });
}

DeviceLinks::Kind DeviceLinks::configured()
{
    switch (g_CONNECTTYPE) {
    case link::serial:
        return Kind::Serial;
    case link::network:
        return Kind::Network;
    default:
        return Kind::None;
    }
}

/** Makes one link the one that frames go out on and replies are taken from. */
void DeviceLinks::adopt(Kind kind)
{
    if (kind == Kind::Serial && m_serial == nullptr)
        m_serial = m_factory.serial(this);
    if (kind == Kind::Network)
        makeNetwork();
    else if (m_network != nullptr)
        m_network->close(); // one that is still being made would take over in mid-run
    if (m_serial != nullptr)
        m_serial->disconnect(SIGNAL(signalReceiveDatas(QByteArray)));
    if (m_network != nullptr)
        m_network->disconnect(SIGNAL(read(QByteArray)));

    m_active = kind;
    if (kind == Kind::Serial)
        connect(m_serial, &CoreCOMQ::signalReceiveDatas, this, &DeviceLinks::received);
    else if (kind == Kind::Network)
        connect(m_network, &CoreTelnet::read, this, &DeviceLinks::received);
    emit switched();
}

bool DeviceLinks::isOpen() const
{
    if (m_down)
        return false;
    return (m_active == Kind::Serial && m_serial->isOpen()) ||
           (m_active == Kind::Network && m_network->isConnected());
}

bool DeviceLinks::send(const QByteArray &frame)
{
    switch (m_active) {
    case Kind::Serial:
        return sendOver(*m_serial, frame);
    case Kind::Network:
        return m_network->write(frame);
    case Kind::None:
        break;
    }
    return false;
}

bool DeviceLinks::sendSerial(const QByteArray &frame)
{
    return m_serial != nullptr && sendOver(*m_serial, frame);
}
