// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/ControlServer.h"
#include "device-simulator/DevicePort.h"
#include "device-simulator/Options.h"
#include "device-simulator/ReplayDevice.h"
#include "device-simulator/SimulatedDevice.h"
#include "device-simulator/Wire.h"

#include <QFile>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

/** The running program: a device on a port, with its trace and its control channel. */
class Simulator
{
public:
    /** Called as soon as the trace can no longer be written. */
    using TraceLost = std::function<void(const QString &reason)>;

    Simulator(Options options, TraceLost traceLost);
    ~Simulator();

    // What failed, or nothing.
    using Failure = std::optional<Problem>;

    /** Reads the device file and opens the trace, which may block if they are pipes. */
    Failure openFiles();
    /** Opens the port and the control channel. */
    Failure start();

    /** The address for a host. */
    QString address() const { return m_port->address(); }
    /** Bytes of the host that were sent while the line was disconnected. */
    qint64 lostBytes() const { return m_wire->lostBytes(); }

    /** Saves the flash if requested. Returns the first error, also an earlier one. */
    Failure finish();

private:
    Failure readDevice();
    Failure readReplay();
    Failure openTrace();
    Failure openControl();
    void writeTrace(const TraceEvent &event);
    std::unique_ptr<DevicePort> makePort() const;

    Options m_options;
    TraceLost m_traceLost;
    QFile m_traceFile;
    /** Why the trace is not complete. */
    QString m_traceProblem;
    /** One of these two answers as the device. */
    std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<ReplayDevice> m_replay;
    std::unique_ptr<DevicePort> m_port;
    std::unique_ptr<Wire> m_wire;
    std::unique_ptr<ControlCommands> m_commands;
    std::unique_ptr<ControlServer> m_control;
};
