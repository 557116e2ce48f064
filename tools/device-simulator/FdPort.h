// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/DevicePort.h"

#include <QSocketNotifier>
#include <QTimer>

#include <memory>

/**
 * A port over a file descriptor: the master of a pseudo-terminal, or a socket. The port waits
 * for a host to open the terminal; after its peer, a socket stays closed.
 */
class FdPort : public DevicePort
{
    Q_OBJECT

public:
    /** Takes an open descriptor over. */
    explicit FdPort(int fd, QObject *parent = nullptr);
    ~FdPort() override;

    bool open(QString *error) override;
    QString address() const override;
    void write(const QByteArray &bytes) override;

protected:
    int m_fd = -1;

private:
    void onReadable();
    void onWritable();
    void waitForHost();
    void lookForHost();

    std::unique_ptr<QSocketNotifier> m_reader;
    std::unique_ptr<QSocketNotifier> m_writer;
    QTimer m_lookForHost;
    QByteArray m_unwritten;
};

/** A new pseudo-terminal whose other end is reached through a symbolic link. */
class PtyPort : public FdPort
{
    Q_OBJECT

public:
    explicit PtyPort(const QString &linkPath, QObject *parent = nullptr);
    ~PtyPort() override;

    bool open(QString *error) override;
    QString address() const override { return m_linkPath; }

private:
    QString m_linkPath;
    bool m_isLinked = false;
};
