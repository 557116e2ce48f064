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

#include <memory>

/** The running program: a device behind a port, with its trace and its control channel. */
class Simulator
{
public:
    explicit Simulator(Options options);
    ~Simulator();

    /** Reads the device file and opens the trace, which may wait for others when they are pipes;
     *  the text says what failed. */
    QString openFiles();
    /** Opens the port and the control channel; the text says what failed. */
    QString start();

    /** How a host reaches the device. */
    QString address() const { return m_port->address(); }

    /** Saves what was to be saved at the end; the text says what failed, then or before. */
    QString finish();

private:
    QString readDevice();
    QString readReplay();
    QString openTrace();
    QString openControl();
    void writeTrace(const TraceEvent &event);
    std::unique_ptr<DevicePort> makePort() const;

    Options m_options;
    QFile m_traceFile;
    /** Why the trace is not complete. */
    QString m_traceProblem;
    /** One of these two plays the device. */
    std::unique_ptr<SimulatedDevice> m_device;
    std::unique_ptr<ReplayDevice> m_replay;
    std::unique_ptr<DevicePort> m_port;
    std::unique_ptr<Wire> m_wire;
    std::unique_ptr<ControlCommands> m_commands;
    std::unique_ptr<ControlServer> m_control;
};
