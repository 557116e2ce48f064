// SPDX-License-Identifier: Apache-2.0
#include "device-check/DeviceCheck.h"

#include "common/Output.h"
#include "device-check/Commands.h"
#include "device-check/Terminal.h"

#include "bytes/AtomicFile.h"
#include "protocol/BlockPayload.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <utility>

#include <unistd.h>

using devicecheck::Channel;
using devicecheck::EarlyEnd;
using devicecheck::Level;
using devicecheck::Point;
using devicecheck::Report;
using devicecheck::Result;
using devicecheck::RunSettings;
using devicecheck::State;

namespace {

/** Three blocks: fewer would leave nothing to check between the first one and the last one. */
constexpr qint64 smallestImage = 2 * protocol::block::dataSize + 1;
/** As the agent. */
constexpr qint64 largestImage = 256 * 1024 * 1024;
/** How long a person may take to answer or to switch the power. */
constexpr std::chrono::minutes personTime{10};

QString idsIn(const Report &report, State state)
{
    QStringList ids;
    for (const Result &result : report.results) {
        if (result.state == state && result.point->level == Level::Required)
            ids += QString::fromLatin1(result.point->id);
    }
    return ids.join(QStringLiteral(", "));
}

/** The name of the point that is checked, on a terminal, in place of the one before. */
void showProgress(const QString &id)
{
    if (::isatty(STDERR_FILENO) == 1)
        writeAll(STDERR_FILENO, "\r\033[K" + id.toUtf8());
}

bool hasNoAnswer(const Report &report)
{
    return !report.results.isEmpty() && report.results.first().state == State::Failed;
}

Problem problemOf(const Report &report)
{
    if (report.end == EarlyEnd::Interrupted)
        return {ProblemId::Interrupted};
    if (report.end == EarlyEnd::LinkLost)
        return {ProblemId::DeviceLinkLost, report.address};
    if (hasNoAnswer(report))
        return {ProblemId::DeviceSilent, report.results.first().reason};
    const QString failed = idsIn(report, State::Failed);
    return failed.isEmpty() ? Problem{ProblemId::PointsUntested, idsIn(report, State::NotTested)}
                            : Problem{ProblemId::PointsFailed, failed};
}

} // namespace

DeviceCheck::DeviceCheck(Options options, int endSignals)
    : m_options(std::move(options)), m_endSignals(endSignals), m_channel(endSignals)
{
}

DeviceCheck::Failure DeviceCheck::readImage()
{
    if (m_options.imagePath.isEmpty())
        return {};
    // A read of a pipe could wait without end.
    if (QFileInfo::exists(m_options.imagePath) && !QFileInfo(m_options.imagePath).isFile())
        return Problem{ProblemId::FileUnreadable,
                       m_options.imagePath + QLatin1String(": not an ordinary file")};
    QFile file(m_options.imagePath);
    if (!file.open(QIODevice::ReadOnly))
        return Problem{ProblemId::FileUnreadable,
                       m_options.imagePath + QLatin1String(": ") + file.errorString()};
    m_image = file.read(largestImage + 1);
    if (m_image.size() >= smallestImage && m_image.size() <= largestImage)
        return {};
    return Problem{ProblemId::ImageSize,
                   QStringLiteral("%1: %2 bytes").arg(m_options.imagePath).arg(m_image.size())};
}

DeviceCheck::Failure DeviceCheck::confirm()
{
    if (m_options.imagePath.isEmpty() || m_options.isConfirmed)
        return {};
    if (!canAsk())
        return Problem{ProblemId::WriteNotConfirmed};
    const auto answer =
        askPerson(QStringLiteral("The checks write %1 to the device several times, stop in the "
                                 "middle of it on purpose, and restart the device.\n"
                                 "Write to the device? [yes/no] ")
                      .arg(m_options.imagePath),
                  personTime, m_endSignals);
    const QString word = answer.value_or(QString()).toLower();
    if (word == QLatin1String("yes") || word == QLatin1String("y"))
        return {};
    return Problem{ProblemId::WriteNotConfirmed};
}

DeviceCheck::Failure DeviceCheck::openSimulator()
{
    const QString problem = m_simulator.start(m_options.simulatedDevice);
    if (!problem.isEmpty())
        return Problem{ProblemId::DeviceUnreachable, problem};
    m_options.host = QStringLiteral("127.0.0.1");
    m_options.tcpPort = m_simulator.port();
    m_options.controlSocket = m_simulator.controlSocket();
    return {};
}

DeviceCheck::Failure DeviceCheck::openLine()
{
    if (!m_options.simulatedDevice.isEmpty()) {
        if (const Failure failure = openSimulator())
            return failure;
    }
    const bool isSerial = !m_options.serialPort.isEmpty();
    const QString problem = isSerial
                                ? m_channel.openSerialPort(m_options.serialPort, m_options.baudRate)
                                : m_channel.connectTo(m_options.host, m_options.tcpPort);
    if (problem.isEmpty())
        return {};
    if (m_channel.isInterrupted())
        return Problem{ProblemId::Interrupted};
    const QString where = isSerial
                              ? m_options.serialPort
                              : QStringLiteral("%1:%2").arg(m_options.host).arg(m_options.tcpPort);
    return Problem{ProblemId::DeviceUnreachable, where + QLatin1String(": ") + problem};
}

/** The reason why the power was not switched, or empty. */
QString DeviceCheck::switchPower()
{
    if (!m_options.controlSocket.isEmpty())
        return controlSimulator(m_options.controlSocket, "power-cycle");
    showProgress({});
    const auto answer =
        askPerson(QStringLiteral("Switch the device's power off and on, then press Enter "
                                 "(type 'skip' if you cannot): "),
                  personTime, m_endSignals);
    if (!answer)
        return QStringLiteral("the question was not answered");
    return answer->isEmpty() ? QString() : QStringLiteral("the power was not switched");
}

Report DeviceCheck::check()
{
    RunSettings settings;
    settings.chips = m_options.chips;
    settings.isWriting = !m_options.imagePath.isEmpty();
    settings.target = m_options.target;
    settings.image = m_image;
    settings.imageVersion = m_options.imageVersion;
    const bool isSerial = !m_options.serialPort.isEmpty();
    settings.baudRate = isSerial ? m_options.baudRate : 0;
    devicecheck::Runner::PowerSwitch powerSwitch;
    if (!m_options.controlSocket.isEmpty() || canAsk())
        powerSwitch = [this] { return switchPower(); };

    devicecheck::Runner runner(m_channel, settings, powerSwitch, [](const Point &point) {
        showProgress(QString::fromLatin1(point.id));
    });
    Report report;
    report.origin = QStringLiteral("device-check %1, %2")
                        .arg(QStringLiteral(PROJECT_VERSION),
                             QDateTime::currentDateTimeUtc().toString(Qt::ISODate));
    report.results = runner.run();
    showProgress({});
    report.facts = runner.facts();
    report.end = runner.earlyEnd();
    report.address =
        isSerial ? QStringLiteral("%1, %2 baud").arg(m_options.serialPort).arg(m_options.baudRate)
                 : QStringLiteral("%1:%2").arg(m_options.host).arg(m_options.tcpPort);
    if (!m_options.simulatedDevice.isEmpty())
        report.address = QStringLiteral("simulator %1").arg(m_options.simulatedDevice);
    return report;
}

DeviceCheck::Failure DeviceCheck::writeHtml(const Report &report) const
{
    if (m_options.htmlPath.isEmpty())
        return {};
    bytes::AtomicFile file(m_options.htmlPath);
    const QByteArray page = htmlReport(report).toUtf8();
    if (file.open() && file.write(page.constData(), page.size()) && file.commit())
        return {};
    return Problem{ProblemId::CannotWrite,
                   m_options.htmlPath + QLatin1String(": ") + file.errorString()};
}

CommandOutcome DeviceCheck::outcomeOf(const Report &report) const
{
    CommandOutcome outcome;
    if (report.end != EarlyEnd::None || !hasPassed(report))
        outcome = CommandOutcome::failed(problemOf(report));
    outcome.text = textReport(report, m_options.showsFrames);
    outcome.json = jsonReport(report);
    if (isLeftHalfWritten(report))
        outcome.warnings = {{QStringLiteral("left-half-written"),
                             QStringLiteral("the image was not written completely, and the chip "
                                            "needs a complete one"),
                             chipText(report.facts.target)}};
    const Failure unwritten = writeHtml(report);
    if (unwritten)
        outcome.fail(unwritten->id, unwritten->detail);
    return outcome;
}

CommandOutcome DeviceCheck::run()
{
    for (const auto part :
         {&DeviceCheck::readImage, &DeviceCheck::confirm, &DeviceCheck::openLine}) {
        if (const Failure failure = (this->*part)())
            return CommandOutcome::failed(*failure);
    }
    return outcomeOf(check());
}
