// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <atomic>
#include <functional>

class CoreCOMQ;
class CoreTelnet;
class EngineOutput;

/** Makes the engine's device links; tests hand in links of their own. */
struct LinkFactory
{
    LinkFactory();

    std::function<CoreCOMQ *(QObject *parent)> serial;
    std::function<CoreTelnet *(QObject *parent)> network;
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

    /** The active link, each of them null unless it is of that kind. */
    CoreCOMQ *activeSerial() const { return m_active == Kind::Serial ? m_serial : nullptr; }
    CoreTelnet *activeNetwork() const { return m_active == Kind::Network ? m_network : nullptr; }

signals:
    /** Bytes of the active link. */
    void received(const QByteArray &chunk);
    /** Another link is active, or the same one once more. */
    void switched();
    void networkConnected();
    void networkDisconnected();

private:
    static Kind configured();
    void adopt(Kind kind);
    void openSerial();
    void makeNetwork();

    const LinkFactory m_factory;
    const EngineOutput &m_output;
    QString m_portName;
    QString m_baudRate;
    CoreCOMQ *m_serial = nullptr;
    CoreTelnet *m_network = nullptr;
    Kind m_active = Kind::None;
    std::atomic<bool> m_down{true};
};
