// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/ControlCommands.h"

#include <QLocalServer>
#include <QObject>

/** The control channel: a local socket that takes command lines and answers each with a line. */
class ControlServer : public QObject
{
    Q_OBJECT

public:
    explicit ControlServer(ControlCommands &commands, QObject *parent = nullptr);

    /** Listens at a path of the file system; on failure `error` says why. */
    bool listen(const QString &path, QString *error);

private:
    void onNewConnection();

    ControlCommands &m_commands;
    QLocalServer m_server;
};
