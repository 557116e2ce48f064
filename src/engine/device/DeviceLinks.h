// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/DeviceLink.h"

#include <atomic>
#include <functional>

namespace engine {

class EngineOutput;

/** Makes the engine's device links; tests hand in links of their own. */
struct LinkFactory
{
    using Make = std::function<links::DeviceLink *(QObject *parent)>;

    LinkFactory();

    Make serial;
    Make network;
};

/** The two links to the device: which one is active, and how it is opened, closed and switched. */
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
    /** There is to be no usable link until the next successful open. Any thread may call this. */
    void requestDown() { m_down = true; }

    Kind active() const { return m_active; }
    bool isOpen() const;
    /** Sends over the active link; false when it refuses or there is none. */
    bool send(const QByteArray &frame);
    /** Sends over the serial link, whichever is active. */
    bool sendSerial(const QByteArray &frame);

    /** Null when there is none. */
    links::DeviceLink *activeLink() const;

signals:
    /** Bytes of the active link. */
    void received(const QByteArray &chunk);
    /** This link is active now, maybe the same one once more; null for none. */
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
