// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"

#include "engine/TestPackage.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/CommandWords.h"
#include "support/InstallFolder.h"
#include "support/WaitFor.h"

#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace command = protocol::command;
namespace field = package::field;
namespace mcu = protocol::mcu;
using engine::LinkFactory;
using engine::RunClaim;
using engine::RunEvents;
using platform::Platform;
using platform::Shell;
using platform::TimeOuts;

using namespace std::chrono_literals;

bool FakeCOMQ::open(const QString &portName, int baudRate, int dataBits, int stopBits,
                    const QString &parity)
{
    openedWith = QString("%1 %2 %3 %4 %5")
                     .arg(portName, QString::number(baudRate), QString::number(dataBits),
                          QString::number(stopBits), parity);
    m_open = m_present;
    return m_open;
}

void FakeCOMQ::unplug()
{
    m_present = false;
    m_open = false;
}

qint64 FakeCOMQ::writeBytes(const char *bytes, qint64 length)
{
    const QByteArray frame(bytes, int(length));
    if (!m_open || (failWrite && failWrite(frame)))
        return -1;
    sent.append(frame);
    if (answerInstead) {
        const auto chunks = answerInstead(frame);
        for (const QByteArray &chunk : chunks)
            post(chunk);
        return length;
    }
    const auto answers = m_device.receive(frame);
    for (const DeviceAnswer &answer : answers) {
        if (answer.delay.count() == 0)
            post(answer.bytes);
        else
            QTimer::singleShot(answer.delay, Qt::PreciseTimer, this,
                               [this, bytes = answer.bytes] { deliver(bytes); });
    }
    return length;
}

void FakeCOMQ::post(const QByteArray &bytes)
{
    m_due.append(bytes);
    QMetaObject::invokeMethod(
        this, [this] { deliverNext(); }, Qt::QueuedConnection);
}

void FakeCOMQ::deliverNext()
{
    if (!m_due.isEmpty())
        deliver(m_due.takeFirst());
}

bool FakeCOMQ::deliverDue()
{
    const bool any = !m_due.isEmpty();
    while (!m_due.isEmpty())
        deliverNext();
    return any;
}

QByteArray FakeCOMQ::deviceAnswer(const QByteArray &frame)
{
    QByteArray bytes;
    const auto answers = m_device.receive(frame);
    for (const DeviceAnswer &answer : answers)
        bytes += answer.bytes;
    return bytes;
}

void FakeCOMQ::deliver(const QByteArray &bytes)
{
    if (m_open)
        emit signalReceiveDatas(bytes);
}

EngineHarness::EngineHarness(const DeviceDescription &description,
                             const std::optional<Shell> &shell,
                             const std::optional<TimeOuts> &timeOuts)
    : device(description), m_platform(scaledPlatform(m_dir.path()))
{
    if (shell)
        m_platform.shell = *shell;
    if (timeOuts)
        m_platform.timeOuts = *timeOuts;
    restartEngine();
}

void EngineHarness::restartEngine()
{
    engine.reset();
    LinkFactory links;
    links.serial = [this](QObject *parent) { return link = new FakeCOMQ(device, parent); };
    engine = std::make_unique<ControlCenter>(m_platform, links);
    const auto timers = engine->findChildren<QTimer *>();
    for (QTimer *timer : timers)
        timer->installEventFilter(this);
    connect(engine.get(), &ControlCenter::message, this,
            [this](const QStringList &list) { lines.append(list.join('|')); });
    connect(engine->runEvents(), &RunEvents::ending, this,
            [this](RunClaim::Number run) { engine->runClaim().release(run); });
    connect(engine.get(), &ControlCenter::progressValueChanged, this,
            [this](double value) { progress.append(value); });
}

DeviceDescription EngineHarness::twoMcus()
{
    DeviceDescription description;
    description.model = "HX-8";
    description.restartTime = 0ms;
    description.rebootTime = 0ms;
    ChipDescription main;
    main.name = QString("MAIN");
    main.version = *ChipVersion::parse(QString("1.0.0"));
    ChipDescription aux = main;
    aux.name = QString("AUX");
    aux.chipType = 1;
    aux.mcuType = 2;
    description.chips = {main, aux};
    description.auxChips = {{1, 1, "AUX"}};
    return description;
}

/** Nothing outside `dir` can be reached, and no shell runs. */
Platform EngineHarness::scaledPlatform(const QString &dir)
{
    Platform platform;
    platform.paths.package = dir + QString("/FW.fwm");
    useInstallFolder(platform, dir);
    platform.ports.serial = QString("no-such-port");
    platform.timeOuts.otherCommand = 2ms;
    platform.timeOuts.uploadCommand = 3ms;
    platform.timeOuts.block = 2ms;
    platform.timeOuts.lastBlock = 3ms;
    // Longer than any machine stalls in the middle of a handler: only tests of it shorten it.
    platform.timeOuts.runGuard = 10s;
    platform.pauses = {0ms, 0ms, 0ms, 0ms, 0ms, 0ms};
    platform.shell.run = [](const QString &) {};
    platform.shell.readFirst = [](const QString &, int) { return QByteArray(); };
    return platform;
}

TimeOuts EngineHarness::withShortGuard()
{
    TimeOuts timeOuts = scaledPlatform(QString()).timeOuts;
    timeOuts.runGuard = 150ms;
    return timeOuts;
}

void EngineHarness::setPackage(const QByteArray &bytes)
{
    storePackage(packagePath(), bytes);
}

void EngineHarness::addFault(const QString &text)
{
    QString error;
    const auto fault = Fault::parse(text, &error);
    if (!fault)
        qFatal("%s", qPrintable(error));
    device.faults().add(*fault);
}

void EngineHarness::connectPort()
{
    engine->slotConnect("ttyS2");
    clear();
}

void EngineHarness::start(const QStringList &rows, int mode)
{
    engine->slotConnect("ttyS2");
    engine->uploadByMergeFW(packagePath(), rows, mode);
}

bool EngineHarness::run(const QStringList &rows, int mode)
{
    clear();
    start(rows, mode);
    return waitForEnd();
}

bool EngineHarness::waitForEnd(int milliseconds)
{
    return waitFor([this] { return !engine->runActive() && engine->timersIdle(); }, milliseconds);
}

bool EngineHarness::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Timer && link->deliverDue())
        return true; // a timer that still runs fires again
    return QObject::eventFilter(watched, event);
}

void EngineHarness::clear()
{
    lines.clear();
    progress.clear();
    link->sent.clear();
}

QString EngineHarness::progressText() const
{
    QStringList values;
    for (const double value : progress)
        values.append(QString::number(value, 'f', 2));
    return values.join(' ');
}

QStringList EngineHarness::sentWords() const
{
    QStringList words;
    for (const QByteArray &frame : link->sent)
        words.append(wordOf(frame));
    return words;
}

QString EngineHarness::wordOf(const QByteArray &frame)
{
    const quint16 word = mcu::wordAt(frame, mcu::wordOffset);
    const QString text = QString::number(word, 16).toUpper();
    if (word != command::writeBlock)
        return text;
    return text + ':' + QString::number(mcu::wordAt(frame, mcu::payloadOffset + 2));
}

QString EngineHarness::results(int rows) const
{
    QString all;
    for (int line = 0; line < rows; ++line)
        all += engine->getTypeAndIndex(line, field::result);
    return all;
}

namespace {

/** On one line, whatever line ends it holds. */
QString shown(QString line)
{
    return line.replace(QLatin1String("\r\n"), QLatin1String("\\r\\n"));
}

} // namespace

bool sameTranscript(const QStringList &actual, const QStringList &expected)
{
    if (actual == expected)
        return true;
    std::fprintf(stderr, "transcripts differ (expected | actual)\n");
    for (int i = 0; i < std::max(actual.size(), expected.size()); ++i) {
        const QString want = shown(expected.value(i, QString("-")));
        const QString got = shown(actual.value(i, QString("-")));
        std::fprintf(stderr, "%c %-80s | %s\n", want == got ? ' ' : '!', qPrintable(want),
                     qPrintable(got));
    }
    return false;
}
