// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"

#include "engine/EngineTexts.h"
#include "engine/RunWords.h"
#include "engine/Steps.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "planning/VersionRule.h"
#include "platform/Log.h"
#include "upload/CoreUpload.h"

#include <utility>

namespace {

AssemblerRules engineRules(mcu::FrameAddress address, int largestFrame)
{
    AssemblerRules rules;
    rules.startBytes = QByteArray(1, char(mcu::replyStart));
    rules.address = address;
    rules.maxLength = largestFrame - mcu::uncounted;
    rules.badSum = AssemblerRules::BadSum::ReplaceLast;
    return rules;
}

QTimer *makeTimer(QObject *parent, std::chrono::milliseconds interval, bool singleShot)
{
    auto *timer = new QTimer(parent);
    timer->setInterval(interval);
    timer->setSingleShot(singleShot);
    return timer;
}

} // namespace

LinkFactory::LinkFactory()
    : serial([](QObject *parent) { return new CoreCOMQ(parent); }),
      network([](QObject *parent) { return new CoreTelnet(parent); })
{
}

/** Everything is a child, so that all of it moves to the engine's thread with the engine. */
ControlCenter::ControlCenter(const Platform &platform, const LinkFactory &links, QObject *parent)
    : QObject(parent),
      m_platform(platform),
      m_links(links),
      m_report([this](const RunEvent &event) { emit m_events->told(event); }),
      m_upload(new CoreUpload(platform.timeOuts, platform.pauses, this)),
      m_uploadTimer(makeTimer(this, platform.timeOuts.uploadCommand, false)),
      m_commandTimer(makeTimer(this, platform.timeOuts.otherCommand, false)),
      m_runGuard(makeTimer(this, platform.timeOuts.runGuard, true)),
      m_baudRate(platform.ports.baudRate),
      m_assembler(engineRules(m_address, platform.limits.mcuFrame))
{
    qRegisterMetaType<RunEvent>();
    m_upload->setAddress(m_address);
    connect(m_uploadTimer, &QTimer::timeout, this, &ControlCenter::onTimeOutSendUploadCommand);
    connect(m_commandTimer, &QTimer::timeout, this, &ControlCenter::onTimeOutSendOtherCommand);
    connect(m_runGuard, &QTimer::timeout, this, &ControlCenter::onRunGuardExpired);
    connect(m_upload, &CoreUpload::progressValueChanged, this, &ControlCenter::keepRunAlive);
    connect(m_upload, &CoreUpload::progressValueChanged, this,
            &ControlCenter::slotProgressValueChanged);
    connect(m_upload, &CoreUpload::message, this, &ControlCenter::keepRunAlive);
    connect(m_upload, &CoreUpload::message, this, &ControlCenter::slotMessage);
    adoptLink(configuredLink());
}

ControlCenter::~ControlCenter()
{
    qCDebug(logEngine) << "ThreadObject destroy";
}

double ControlCenter::uploadPercent() const
{
    return CoreUpload::m_FWPersent.load(std::memory_order_relaxed);
}

void ControlCenter::resetUploadPercent()
{
    CoreUpload::m_FWPersent.store(0.0, std::memory_order_relaxed);
}

bool ControlCenter::timersIdle() const
{
    return !m_uploadTimer->isActive() && !m_commandTimer->isActive() && !m_runGuard->isActive();
}

void ControlCenter::say(const QString &line)
{
    emit message({line});
}

void ControlCenter::sayInChain(QStringList list)
{
    if (m_reading)
        list.prepend(QString::fromLatin1(key::readProductInfo));
    emit message(list);
}

/** The one way out of a run: nothing may be in flight and nothing may fire afterwards. Every claim
 *  is announced as ended here, so that none is kept. */
void ControlCenter::endRun()
{
    m_commandTimer->stop();
    m_uploadTimer->stop();
    m_runGuard->stop();
    m_upload->reset();
    m_assembler.reset();
    canRead = false;
    currentCommandKey = 0;
    m_reading = false;
    m_image.clear();
    m_runPackage.close();
    m_report.end(false);
    m_runActive = false;
    if (m_run != RunClaim::none)
        m_events->end(std::exchange(m_run, RunClaim::none));
}

/** The run has ended before its last words go out: who receives them may start the next one. */
void ControlCenter::finishRun(const QString &status)
{
    const bool resetsProgress =
        m_operationKind == upgradeMode::newerOnly || m_operationKind == upgradeMode::forced;
    m_report.end(status == QLatin1String(appStatus::success), status.toInt());
    endRun();
    if (resetsProgress)
        emit progressValueChanged(0.0, 100.0);
    emit message({QString::fromLatin1(key::appStatus), status});
}

void ControlCenter::failRun(const QString &status, double progress)
{
    const bool reading = m_reading;
    m_report.end(false, status.toInt());
    endRun();
    m_reading = reading;
    reportFailure(status, progress);
    m_reading = false;
}

/** Runs on the main thread, too, for a package that cannot be listed. */
void ControlCenter::reportFailure(const QString &status, double progress)
{
    sayInChain({QString::fromLatin1(key::appStatus), status});
    slotProgressValueChanged(progress, 100.0);
    if (!hasCurrentRow())
        return;
    markAllRowsFailed();
    reportRowResult(QString::fromLatin1(result::failed));
}

void ControlCenter::failStep()
{
    failRun(QString::fromLatin1(appStatus::stepFailed), 0.0);
}

void ControlCenter::failLost()
{
    failRun(QString::fromLatin1(appStatus::deviceLost), 0.0);
}

void ControlCenter::gaveUp(const QString &what)
{
    m_report.giveUp(currentName(), what);
}

void ControlCenter::reportRowResult(const QString &result)
{
    sayInChain({QString::fromLatin1(key::upgradeResult), currentRow(), result});
}

void ControlCenter::markAllRowsFailed()
{
    const std::lock_guard lock(m_mutex);
    m_TypeAndIndexs.setAll(field::result, QString::fromLatin1(result::failed));
}

void ControlCenter::keepRunAlive()
{
    if (m_runActive)
        m_runGuard->start();
}

/** The engine's own requests have no reply: one that is not taken up leaves a line in the log. */
bool ControlCenter::refusesDuringRun(const char *request) const
{
    if (m_runActive)
        qCWarning(logEngine) << "refused while a run is active:" << request;
    return m_runActive;
}

/** Whatever a run waits for, it ends: an image that gets no verdict counts as one that failed. */
void ControlCenter::onRunGuardExpired()
{
    qCDebug(logEngine) << "run shows no sign of life in step" << m_step;
    gaveUp(QString::fromLatin1(runWord::noSignOfLife));
    if (m_step == step::mainImage || m_step == step::otherImage)
        failWrite();
    else
        failStep();
}

int ControlCenter::mcuIndex() const
{
    const std::lock_guard lock(m_mutex);
    return m_mcuIndex;
}

void ControlCenter::setMcuIndex(int line)
{
    const std::lock_guard lock(m_mutex);
    m_mcuIndex = line;
}

int ControlCenter::rowCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.count();
}

bool ControlCenter::hasCurrentRow() const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.hasRow(m_mcuIndex);
}

QString ControlCenter::currentRow() const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.row(m_mcuIndex);
}

QStringList ControlCenter::currentFields() const
{
    return currentRow().split(QLatin1Char(','));
}

RunMcu ControlCenter::currentMcu(int entry) const
{
    const QStringList row = currentFields();
    const QStringList offered = package().firmwareList.value(entry).split(QLatin1Char(','));
    return {row.value(field::name), row.value(field::chipType), row.value(field::chipIndex),
            versionText(row), versionText(offered)};
}

QString ControlCenter::currentName() const
{
    return currentFields().value(field::name);
}

bool ControlCenter::currentIsMainMcu() const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.isMainMcu(m_mcuIndex);
}

bool ControlCenter::currentIsFpga() const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.isFpga(m_mcuIndex);
}

bool ControlCenter::currentNamesChip() const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.namesChip(m_mcuIndex);
}

int ControlCenter::currentNumber(int index) const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.number(m_mcuIndex, index);
}

void ControlCenter::setCurrent(int index, const QString &value)
{
    const std::lock_guard lock(m_mutex);
    m_TypeAndIndexs.setValue(m_mcuIndex, index, value);
}

QString ControlCenter::getTypeAndIndex(int line, int index) const
{
    const std::lock_guard lock(m_mutex);
    return m_TypeAndIndexs.value(line, index);
}

void ControlCenter::setTypeAndIndex(int line, int index, const QString &value)
{
    const std::lock_guard lock(m_mutex);
    m_TypeAndIndexs.setValue(line, index, value);
}

ControlCenter::Package ControlCenter::package() const
{
    const std::lock_guard lock(m_mutex);
    return m_package;
}
