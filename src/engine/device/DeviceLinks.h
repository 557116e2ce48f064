// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/DeviceLink.h"

#include <atomic>
#include <functional>

namespace engine {

class EngineOutput;

/** Creates the engine's device links; tests pass in their own. */
struct LinkFactory
{
    using Make = std::function<links::DeviceLink *(QObject *parent)>;

    LinkFactory();

    Make serial;
    Make network;
};

/** The two links to the device: opens, closes and switches them, one of them active. */
class DeviceLinks : public QObject
{
    Q_OBJECT

public:
    enum class Kind { None, Serial, Network };

    DeviceLinks(const LinkFactory &factory, const EngineOutput &output, const QString &baudRate,
                QObject *parent);

    void setBaudRate(const QString &baudRate) { m_baudRate = baudRate; }
    /** Makes the configured link the active one and opens the serial port. */
    void open(const QString &port);
    void connectNetwork(const QString &address, quint16 port);
    /** Closes the active link. */
    void close();
    /** Makes the link unusable until the next successful open. Any thread may call this. */
    void requestDown() { m_down = true; }

    Kind active() const { return m_active; }
    bool isOpen() const;
    /** Sends over the active link; false when it refuses or there is none. */
    bool send(const QByteArray &frame);
    /** Sends over the serial link, even if the network link is active. */
    bool sendSerial(const QByteArray &frame);

    /** Null when there is none. */
    links::DeviceLink *activeLink() const;

signals:
    /** Bytes of the active link. */
    void received(const QByteArray &chunk);
    /** This link is active now, possibly the same one again; null for none. */
    void switched(links::DeviceLink *link);
    void networkConnected();
    void networkDisconnected();

private:
    static Kind configured();
    void adopt(Kind kind);
    void makeSerial();
    void makeNetwork();
    void relay(links::DeviceLink *link);

    const LinkFactory m_factory;
    const EngineOutput &m_output;
    QString m_portName;
    QString m_baudRate;
    links::DeviceLink *m_serial = nullptr;
    links::DeviceLink *m_network = nullptr;
    Kind m_active = Kind::None;
    std::atomic<bool> m_down{true};
};

} // namespace engine
