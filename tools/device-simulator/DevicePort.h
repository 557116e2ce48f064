// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

/** The connection between the host and the device. */
class DevicePort : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /** Opens the port; on failure `error` says why. */
    virtual bool open(QString *error) = 0;
    /** The address for a host. */
    virtual QString address() const = 0;
    /** Sends as many bytes as possible; without a peer they are lost, as on a serial line. */
    virtual void write(const QByteArray &bytes) = 0;

signals:
    void received(const QByteArray &bytes);
    /** The connection has ended and does not come back. */
    void closed();
};
