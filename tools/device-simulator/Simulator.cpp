// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Simulator.h"

#include "device-simulator/FdPort.h"
#include "device-simulator/FlashFiles.h"
#include "device-simulator/TcpPort.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <utility>

using Failure = Simulator::Failure;

namespace {

Failure unreadable(const QFile &file)
{
    return Problem{ProblemId::FileUnreadable,
                   file.fileName() + QLatin1String(": ") + file.errorString()};
}

} // namespace

Simulator::Simulator(Options options, TraceLost traceLost)
    : m_options(std::move(options)), m_traceLost(std::move(traceLost))
{
}

Simulator::~Simulator() = default;

Failure Simulator::readDevice()
{
    QFile file(m_options.devicePath);
    if (!file.open(QIODevice::ReadOnly))
        return unreadable(file);
    QString error;
    const auto description = DeviceDescription::fromJson(file.readAll(), &error);
    if (!description)
        return Problem{ProblemId::DeviceUnreadable,
                       m_options.devicePath + QLatin1String(": ") + error};
    m_device = std::make_unique<SimulatedDevice>(*description, SimulatedDevice::steadyClock(),
                                                 m_options.seed);
    for (const Fault &fault : qAsConst(m_options.faults))
        m_device->faults().add(fault);
    return {};
}

Failure Simulator::readReplay()
{
    QFile file(m_options.replayPath);
    if (!file.open(QIODevice::ReadOnly))
        return unreadable(file);
    QString error;
    auto replay = ReplayDevice::fromTrace(file.readAll(), &error);
    if (!replay)
        return Problem{ProblemId::TraceUnreadable,
                       m_options.replayPath + QLatin1String(": ") + error};
    m_replay = std::make_unique<ReplayDevice>(std::move(*replay));
    return {};
}

Failure Simulator::openTrace()
{
    if (!m_options.tracePath.isEmpty()) {
        m_traceFile.setFileName(m_options.tracePath);
        if (!m_traceFile.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return Problem{ProblemId::CannotWrite,
                           m_options.tracePath + QLatin1String(": ") + m_traceFile.errorString()};
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
    // The simulation continues, since a host may be in the middle of a run.
    if (m_traceFile.write(line) != line.size() || !m_traceFile.flush()) {
        m_traceProblem =
            QStringLiteral("%1: %2").arg(m_options.tracePath, m_traceFile.errorString());
        m_traceLost(m_traceProblem);
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

Failure Simulator::openControl()
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
    if (m_control->listen(m_options.controlPath, &error))
        return {};
    return Problem{ProblemId::ControlNotOpened, error};
}

Failure Simulator::openFiles()
{
    if (!m_options.replayPath.isEmpty())
        return readReplay();
    const Failure failure = readDevice();
    return failure ? failure : openTrace();
}

Failure Simulator::start()
{
    QString error;
    m_port = makePort();
    if (!m_port->open(&error))
        return Problem{ProblemId::PortNotOpened, error};
    QObject::connect(m_port.get(), &DevicePort::closed, qApp, &QCoreApplication::quit);
    const auto device = [this](const QByteArray &bytes) {
        return m_device ? m_device->receive(bytes) : m_replay->receive(bytes);
    };
    m_wire = std::make_unique<Wire>(*m_port, device, m_options.baudRate);
    return openControl();
}

Failure Simulator::finish()
{
    QString problem = m_traceProblem;
    if (!m_options.saveFlashPath.isEmpty()) {
        const QString flashProblem = saveFlash(*m_device, m_options.saveFlashPath);
        if (!flashProblem.isEmpty())
            problem = flashProblem;
    }
    return problem.isEmpty() ? Failure() : Problem{ProblemId::CannotWrite, problem};
}
