// SPDX-License-Identifier: Apache-2.0
#include "device-check/Runner.h"

#include "device-check/Commands.h"
#include "device-check/StepWatch.h"

#include "protocol/ChipTypes.h"
#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

#include <algorithm>
#include <utility>

namespace chip = protocol::chip;
using protocol::AuxChip;
using protocol::ProductRecord;

namespace devicecheck {

namespace {

/** Start bit, eight data bits, stop bit. */
constexpr int bitsPerByte = 10;
/** More chips are not asked one by one. */
constexpr int mostChips = 32;

const Result *resultOf(const QVector<Result> &results, const QString &id)
{
    const auto found = std::find_if(results.begin(), results.end(), [&id](const Result &result) {
        return id == QLatin1String(result.point->id);
    });
    return found == results.end() ? nullptr : &*found;
}

bool needsPower(const QVector<Step> &steps)
{
    return std::any_of(steps.begin(), steps.end(), [](const Step &step) {
        return step.action == Step::Action::SwitchPowerOffAndOn;
    });
}

QString endText(EarlyEnd end)
{
    return end == EarlyEnd::LinkLost ? QStringLiteral("the link to the device was lost")
                                     : QStringLiteral("the checks were interrupted");
}

} // namespace

Runner::Runner(Channel &channel, RunSettings settings, PowerSwitch powerSwitch, Progress progress)
    : m_channel(channel),
      m_settings(std::move(settings)),
      m_powerSwitch(std::move(powerSwitch)),
      m_progress(std::move(progress)),
      m_start(channel.now())
{
}

QVector<Result> Runner::run()
{
    dropOldBytes();
    QVector<Result> results;
    for (const Point &point : points()) {
        if (m_end == EarlyEnd::None)
            m_progress(point);
        results.append(check(point, results));
        // What the device has is asked once it has answered for the first time.
        if (results.size() == 1 && results.first().state == State::Passed)
            learn();
    }
    return results;
}

QString Runner::reasonNotToTest(const Point &point, const QVector<Result> &before) const
{
    if (m_end != EarlyEnd::None)
        return endText(m_end);
    if (point.isWriting && !m_settings.isWriting)
        return QStringLiteral("needs --write");
    const Result *needed = resultOf(before, QString::fromLatin1(point.needs));
    if (needed != nullptr && needed->state != State::Passed)
        return QStringLiteral("needs the point '%1'").arg(QLatin1String(point.needs));
    return {};
}

Result Runner::check(const Point &point, const QVector<Result> &before)
{
    Result result;
    result.point = &point;
    result.reason = reasonNotToTest(point, before);
    if (!result.reason.isEmpty())
        return result;
    if (point.judge != nullptr) {
        result.reason = point.judge(before);
        result.state = result.reason.isEmpty() ? State::Passed : State::Failed;
        return result;
    }
    if (point.isWriting)
        m_learned.clear();
    const QVector<Step> steps = point.steps(m_facts);
    if (steps.isEmpty()) {
        result.state = State::NotApplicable;
        result.reason = QLatin1String(point.absence);
    } else if (needsPower(steps) && !m_powerSwitch) {
        result.reason =
            QStringLiteral("needs a terminal or --control, to switch the power off and on");
    } else {
        perform(steps, result);
    }
    return result;
}

void Runner::perform(const QVector<Step> &steps, Result &result)
{
    result.state = State::Passed;
    for (const Step &step : steps) {
        const Exchange exchange = perform(step);
        if (step.isOneOfMany && exchange.problem.isEmpty() && exchange.extraFrames.isEmpty() &&
            exchange.strayBytes.isEmpty())
            ++result.unkept;
        else
            result.exchanges.append(exchange);
        if (exchange.problem.isEmpty())
            continue;
        // Neither is the fault of the device.
        const bool isUntested =
            m_end == EarlyEnd::Interrupted || step.action == Step::Action::SwitchPowerOffAndOn;
        result.state = isUntested ? State::NotTested : State::Failed;
        result.reason = QStringLiteral("%1: %2").arg(exchange.text, exchange.problem);
        return;
    }
}

Exchange Runner::perform(const Step &step)
{
    if (step.action == Step::Action::SwitchPowerOffAndOn) {
        Exchange exchange;
        exchange.text = step.text;
        exchange.problem = m_powerSwitch();
        dropOldBytes();
        return exchange;
    }
    // Each answer counts once, so that a device that fails only once is found.
    if (m_learned.contains(step.text))
        return m_learned.take(step.text);
    Exchange all;
    for (int i = 0; i < step.attempts && m_end == EarlyEnd::None; ++i) {
        Exchange exchange = attempt(step);
        exchange.traffic = all.traffic + exchange.traffic;
        all = exchange;
        if (all.problem.isEmpty())
            break;
    }
    if (m_end != EarlyEnd::None)
        all.problem = endText(m_end);
    return all;
}

Exchange Runner::attempt(Step step)
{
    // An answer that should not come would take as long as the others.
    if (step.answers.isEmpty() || step.maySayNothing)
        step.limit = std::clamp(2 * m_slowestAnswer, step.limit, times::answer);
    StepWatch watch(step);
    for (const Piece &piece : step.pieces) {
        pauseFor(watch, piece.pause);
        const int baud = m_settings.baudRate;
        const milliseconds onLine(baud > 0 ? piece.bytes.size() * bitsPerByte * 1000 / baud : 0);
        m_channel.send(piece.bytes);
        watch.sent(piece.bytes, now() + onLine);
    }
    while (m_end == EarlyEnd::None && !watch.isAnswered() && now() < watch.deadline())
        receive(watch, watch.deadline());
    // A late answer must not be taken for the answer to the next command.
    const bool isLate = !step.answers.isEmpty() && !step.maySayNothing && !watch.isAnswered();
    const milliseconds lateEnd = now() + times::late;
    while (isLate && m_end == EarlyEnd::None && !watch.isAnswered() && now() < lateEnd)
        receive(watch, lateEnd);
    if (watch.isAnswered() && !step.isOneOfMany)
        pauseFor(watch, times::tail);
    const Exchange exchange = watch.exchange();
    m_slowestAnswer = std::max(m_slowestAnswer, exchange.answerTime);
    return exchange;
}

void Runner::receive(StepWatch &watch, milliseconds until)
{
    QByteArray bytes;
    switch (m_channel.wait(std::max(until - now(), milliseconds(0)), bytes)) {
    case Channel::Event::Bytes:
        watch.received(bytes, now());
        break;
    case Channel::Event::Quiet:
        break;
    case Channel::Event::Lost:
        m_end = EarlyEnd::LinkLost;
        break;
    case Channel::Event::Interrupted:
        m_end = EarlyEnd::Interrupted;
        break;
    }
}

void Runner::pauseFor(StepWatch &watch, milliseconds time)
{
    const milliseconds end = now() + time;
    while (m_end == EarlyEnd::None && now() < end)
        receive(watch, end);
}

void Runner::dropOldBytes()
{
    const milliseconds end = now() + times::longestNoise;
    QByteArray bytes;
    while (now() < end && m_channel.wait(times::quiet, bytes) == Channel::Event::Bytes)
        bytes.clear();
}

QByteArray Runner::dataOf(const Step &step)
{
    const Exchange exchange = perform(step);
    m_learned.insert(step.text, exchange);
    return exchange.problem.isEmpty() ? protocol::Reply(exchange.answers.first()).payload()
                                      : QByteArray();
}

void Runner::learnChip(Chip one)
{
    const QByteArray version = dataOf(readVersion(one));
    if (!version.isEmpty())
        m_facts.versions[one] = version;
    if (chip::isFpga(one.type) || version.isEmpty())
        return;
    const QByteArray bootcode = dataOf(readBootcode(one));
    if (!bootcode.isEmpty())
        m_facts.bootcode[one] = bootcode;
    const QByteArray record = dataOf(readRecord(one));
    if (!record.isEmpty())
        m_facts.records[one] = record;
}

/** A chip of the record, if it answers. */
void Runner::addChip(Chip one)
{
    if (m_facts.chips.size() >= mostChips || m_end != EarlyEnd::None)
        return;
    learnChip(one);
    if (m_facts.versions.contains(one))
        m_facts.chips.append(one);
}

void Runner::learnChips()
{
    for (const AuxChip &kind : qAsConst(m_facts.kinds)) {
        if (kind.quantity == 0)
            continue;
        addChip({kind.chipType, 0});
        if (!m_facts.chips.contains({kind.chipType, 0}))
            addChip({kind.chipType, kind.quantity});
        for (int i = 1; i < kind.quantity && m_facts.chips.contains({kind.chipType, 0}); ++i)
            addChip({kind.chipType, quint8(i)});
    }
}

void Runner::learn()
{
    m_facts.model = dataOf(readModelName());
    Chip main{chip::mainMcu, 0};
    learnChip(main);
    if (!m_facts.versions.contains(main) && !m_settings.chips.contains(main)) {
        constexpr quint8 quantityOfMainMcus = 1;
        const Chip other{chip::mainMcu, quantityOfMainMcus};
        learnChip(other);
        if (m_facts.versions.contains(other))
            main = other;
    }
    m_facts.chips = {main};
    m_facts.kinds = ProductRecord::decode(m_facts.records.value(main)).auxChips;
    learnChips();
    for (const Chip one : m_settings.chips) {
        if (m_facts.chips.contains(one))
            continue;
        m_facts.chips.append(one);
        learnChip(one);
    }
    const QByteArray version = dataOf(readVirtualVersion());
    if (!version.isEmpty())
        m_facts.virtualVersion = quint8(version.at(0));
    m_facts.target = m_settings.target.value_or(main);
    if (!m_facts.chips.contains(m_facts.target)) {
        m_facts.chips.append(m_facts.target);
        learnChip(m_facts.target);
    }
    m_facts.image = m_settings.image;
    m_facts.imageVersion = m_settings.imageVersion;
}

} // namespace devicecheck
