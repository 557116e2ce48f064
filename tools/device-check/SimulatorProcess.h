// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/ForkedProcess.h"

#include <QString>
#include <QTemporaryDir>

/** Sends a line to the control channel of a simulator. Why it failed; empty when it was obeyed. */
QString controlSimulator(const QString &socket, const QByteArray &line);

/** A device simulator that runs as long as this object. */
class SimulatorProcess
{
public:
    ~SimulatorProcess();

    /** Starts a device that a file describes. Why it did not start; empty when it runs. */
    QString start(const QString &deviceFile);

    quint16 port() const { return m_port; }
    QString controlSocket() const { return m_folder.filePath(QStringLiteral("control")); }

private:
    QTemporaryDir m_folder;
    ForkedProcess m_process;
    quint16 m_port = 0;
};
