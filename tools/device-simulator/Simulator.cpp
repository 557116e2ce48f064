// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Simulator.h"

#include "device-simulator/FdPort.h"
#include "device-simulator/FlashFiles.h"
#include "device-simulator/TcpPort.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <utility>

Simulator::Simulator(Options options) : m_options(std::move(options)) {}

Simulator::~Simulator() = default;

QString Simulator::readDevice()
{
    QFile file(m_options.devicePath);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(m_options.devicePath, file.errorString());
    QString error;
    const auto description = DeviceDescription::fromJson(file.readAll(), &error);
    if (!description)
        return QStringLiteral("%1: %2").arg(m_options.devicePath, error);
    m_device = std::make_unique<SimulatedDevice>(*description, SimulatedDevice::steadyClock(),
                                                 m_options.seed);
    for (const Fault &fault : qAsConst(m_options.faults))
        m_device->faults().add(fault);
    return {};
}

QString Simulator::readReplay()
{
    QFile file(m_options.replayPath);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(m_options.replayPath, file.errorString());
    QString error;
    auto replay = ReplayDevice::fromTrace(file.readAll(), &error);
    if (!replay)
        return QStringLiteral("%1: %2").arg(m_options.replayPath, error);
    m_replay = std::make_unique<ReplayDevice>(std::move(*replay));
    return {};
}

QString Simulator::openTrace()
{
    if (!m_options.tracePath.isEmpty()) {
        m_traceFile.setFileName(m_options.tracePath);
        if (!m_traceFile.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return QStringLiteral("%1: %2").arg(m_options.tracePath, m_traceFile.errorString());
    }
    if (!m_traceFile.isOpen() && !m_options.printFrames)
        return {};
    m_device->setTrace([this](const TraceEvent &event) { writeTrace(event); });
    return {};
}

void Simulator::writeTrace(const TraceEvent &event)
{
    const QByteArray line = event.line().toUtf8() + '\n';
    if (m_options.printFrames)
        std::fputs(line.constData(), stderr);
    if (!m_traceFile.isOpen() || !m_traceProblem.isEmpty())
        return;
    // The device plays on, since a host may be in the middle of something.
    if (m_traceFile.write(line) != line.size() || !m_traceFile.flush()) {
        m_traceProblem =
            QStringLiteral("%1: %2").arg(m_options.tracePath, m_traceFile.errorString());
        std::fprintf(stderr, "device-simulator: the trace ends here: %s\n",
                     qPrintable(m_traceProblem));
    }
}

std::unique_ptr<DevicePort> Simulator::makePort() const
{
    if (m_options.fd)
        return std::make_unique<FdPort>(*m_options.fd);
    if (m_options.listenAddress)
        return std::make_unique<TcpPort>(*m_options.listenAddress, m_options.listenPort);
    return std::make_unique<PtyPort>(m_options.ptyLink);
}

QString Simulator::openControl()
{
    if (m_options.controlPath.isEmpty())
        return {};
    ControlHooks hooks;
    hooks.plug = [this](bool plugged) { m_wire->setPlugged(plugged); };
    hooks.lostBytes = [this] { return m_wire->lostBytes(); };
    // Queued, so that the command is still answered.
    hooks.quit = [] { QTimer::singleShot(0, qApp, &QCoreApplication::quit); };
    m_commands = std::make_unique<ControlCommands>(*m_device, hooks);
    m_control = std::make_unique<ControlServer>(*m_commands);
    QString error;
    m_control->listen(m_options.controlPath, &error);
    return error;
}

QString Simulator::openFiles()
{
    if (!m_options.replayPath.isEmpty())
        return readReplay();
    const QString error = readDevice();
    return error.isEmpty() ? openTrace() : error;
}

QString Simulator::start()
{
    QString error;
    m_port = makePort();
    if (!m_port->open(&error))
        return error;
    QObject::connect(m_port.get(), &DevicePort::closed, qApp, &QCoreApplication::quit);
    const auto device = [this](const QByteArray &bytes) {
        return m_device ? m_device->receive(bytes) : m_replay->receive(bytes);
    };
    m_wire = std::make_unique<Wire>(*m_port, device, m_options.baudRate);
    return openControl();
}

QString Simulator::finish()
{
    const QString saveProblem = m_options.saveFlashPath.isEmpty()
                                    ? QString()
                                    : saveFlash(*m_device, m_options.saveFlashPath);
    return saveProblem.isEmpty() ? m_traceProblem : saveProblem;
}
