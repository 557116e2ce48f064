// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "platform/Log.h"
#include "upload/CoreUpload.h"

#include <utility>

namespace {

constexpr int dataBits = 8;
constexpr int stopBits = 1;
constexpr char versionQuery[] = "\r\nA00GET VER INF\r\n";

} // namespace

void ControlCenter::slotConnect(QString port)
{
    m_portName = std::move(port);
    adoptLink(configuredLink());
    openSerialLink();
}

void ControlCenter::slotConnectWithBandrate(QString port, QString bandrate)
{
    m_baudRate = std::move(bandrate);
    slotConnect(std::move(port));
}

void ControlCenter::slotAutoConnect(QString port)
{
    slotConnect(std::move(port));
}

void ControlCenter::openSerialLink()
{
    const bool opened =
        m_serial != nullptr && m_serial->open(m_portName, m_baudRate.toInt(), dataBits, stopBits,
                                              QStringLiteral("NoParity"));
    m_linkDown = !opened;
    if (opened) {
        emit message({QString::fromLatin1(key::connectSuccess), m_portName});
        return;
    }
    disconnected();
    say(filled(key::connectFail));
    say(filled(text::connectFailed, m_portName));
}

void ControlCenter::disconnected()
{
    switch (m_link) {
    case Link::Serial:
        qCDebug(logEngine) << "all_disconnected";
        m_serial->close();
        say(filled(text::disconnect));
        say(filled(text::portDisconnected, m_portName));
        break;
    case Link::Network:
        qCDebug(logEngine) << "slotdisconnectednet";
        m_network->close();
        adoptLink(configuredLink());
        break;
    case Link::None:
        break;
    }
}

void ControlCenter::connectNet(QString IP, int port)
{
    makeNetworkLink();
    m_network->connectTo(IP, quint16(port));
}

void ControlCenter::makeNetworkLink()
{
    if (m_network != nullptr)
        return;
    m_network = m_links.network(this);
    connect(m_network, &CoreTelnet::connected, this, [this] {
        m_linkDown = false;
        adoptLink(Link::Network);
        emit netconnected();
    });
    connect(m_network, &CoreTelnet::disconnected, this, &ControlCenter::netdisconnected);
    m_network->setFrameHook([](const QByteArray &frame) {
        link::noteFrame(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
    });
}

ControlCenter::Link ControlCenter::configuredLink()
{
    switch (g_CONNECTTYPE) {
    case link::serial:
        return Link::Serial;
    case link::network:
        return Link::Network;
    default:
        return Link::None;
    }
}

/** Makes one link the one that frames go out on and replies are taken from. */
void ControlCenter::adoptLink(Link kind)
{
    if (kind == Link::Serial && m_serial == nullptr)
        m_serial = m_links.serial(this);
    if (kind == Link::Network)
        makeNetworkLink();
    else if (m_network != nullptr)
        m_network->close(); // one that is still being made would take over in mid-run
    if (m_serial != nullptr)
        m_serial->disconnect(SIGNAL(signalReceiveDatas(QByteArray)));
    if (m_network != nullptr)
        m_network->disconnect(SIGNAL(read(QByteArray)));

    m_link = kind;
    m_upload->setTransports(kind == Link::Serial ? m_serial : nullptr,
                            kind == Link::Network ? m_network : nullptr);
    if (kind == Link::Serial) {
        connect(m_serial, &CoreCOMQ::signalReceiveDatas, this, &ControlCenter::onChunk);
    } else if (kind == Link::Network) {
        connect(m_network, &CoreTelnet::read, this, &ControlCenter::onChunk);
    }
}

/** What came together with the reply that starts an image came before the image's first block:
 *  an acknowledgement in it is a late one, of an earlier try. */
void ControlCenter::onChunk(const QByteArray &datas)
{
    const bool forUploader = m_upload->awaitsAcknowledgement();
    slotReceiveDatas(datas);
    if (forUploader)
        m_upload->slotReceiveDatas(datas);
}

bool ControlCenter::linkIsOpen() const
{
    if (m_linkDown)
        return false;
    return (m_link == Link::Serial && m_serial->isOpen()) ||
           (m_link == Link::Network && m_network->isConnected());
}

void ControlCenter::slotGetVersion()
{
    expectReply(ReceiveMode::Text);
    QByteArray query(versionQuery);
    write(query.data(), size_t(query.size()));
}
