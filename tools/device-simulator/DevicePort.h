// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

/** Where the host's bytes come from and the device's go to. */
class DevicePort : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /** Opens the port; on failure `error` says why. */
    virtual bool open(QString *error) = 0;
    /** How a host reaches it. */
    virtual QString address() const = 0;
    /** Sends what can be sent; without a peer the bytes are lost, as on a wire. */
    virtual void write(const QByteArray &bytes) = 0;

signals:
    void received(const QByteArray &bytes);
    /** The connection has ended and does not come back. */
    void closed();
};
