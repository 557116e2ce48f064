// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

/**
 * Answers from a recorded trace: a frame of the host gets the answer that the same frame got when
 * it was recorded, with the same delays. Equal frames get their recorded answers in order, and then
 * from the first one again. A frame that was never recorded gets no answer.
 */
class ReplayDevice
{
public:
    /** Reads the lines of a trace; `error` names the first that cannot be read. */
    static std::optional<ReplayDevice> fromTrace(const QByteArray &trace, QString *error);

    QVector<DeviceAnswer> receive(const QByteArray &bytes);

private:
    struct Exchange
    {
        std::chrono::microseconds time{0};
        QByteArray host;
        QVector<DeviceAnswer> answers;
    };

    QString addLine(const QString &line);

    QVector<Exchange> m_exchanges;
    /** The search for the next frame begins here, so repetitions are answered in their order. */
    int m_next = 0;
    HostFrameReader m_reader;
};
