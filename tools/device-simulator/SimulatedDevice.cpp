// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/SimulatedDevice.h"

#include "device-simulator/CommandNames.h"
#include "device-simulator/ReplyFaults.h"

#include "protocol/BlockPayload.h"
#include "protocol/ChipTypes.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Statuses.h"

#include <algorithm>
#include <utility>

namespace block = protocol::block;
namespace chip = protocol::chip;
namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace status = protocol::status;
using protocol::ProductRecord;

namespace {

using std::chrono::milliseconds;

/** After this time without a byte, the start of a frame is dropped: its host has ended. */
constexpr std::chrono::microseconds halfFrameLife = std::chrono::milliseconds(500);
constexpr int anySize = -1;

QByteArray ordinaryReply(quint16 word, const QByteArray &payload)
{
    return mcu::buildFrame(mcu::replyStart, {}, word, payload);
}

QByteArray statusReply(quint16 word, quint8 status)
{
    return mcu::buildStatusFrame(mcu::replyStart, {}, word, status);
}

/** The payload's first two bytes, with which the replies about one chip begin. */
QByteArray echoOf(const HostCommand &host)
{
    return host.payload().left(2);
}

const char *kindName(TraceEvent::Kind kind)
{
    switch (kind) {
    case TraceEvent::Kind::HostFrame:
        return "host  ";
    case TraceEvent::Kind::DeviceFrame:
        return "device";
    case TraceEvent::Kind::Violation:
        return "BROKEN";
    case TraceEvent::Kind::Fault:
        return "fault ";
    case TraceEvent::Kind::Note:
        break;
    }
    return "note  ";
}

} // namespace

struct SimulatedDevice::Command
{
    quint16 word;
    int payloadSize;
    Handler handler;
};

const SimulatedDevice::Command *SimulatedDevice::findCommand(quint16 word)
{
    using Self = SimulatedDevice;
    // clang-format off
    static const Command commands[] = {
        {command::readModelName,           0, &Self::answerModelName},
        {command::readBootcode,            2, &Self::answerBootcode},
        {command::readProductInformation,  2, &Self::answerProductInformation},
        {command::readVersion,             2, &Self::answerVersion},
        {command::readProductId,           0, &Self::answerProductId},
        {command::readVirtualVersion,      0, &Self::answerVirtualVersion},
        {command::enterUpdateMode,         2, &Self::enterUpdateMode},
        {command::writeBlock,              block::payloadSize, &Self::writeBlock},
        {command::reboot,                  0, &Self::reboot},
        {command::setVirtualVersion,       1, &Self::setVirtualVersion},
        {command::writeProductInformation, anySize, &Self::writeProductInformation},
    };
    // clang-format on
    const auto found = std::find_if(std::begin(commands), std::end(commands),
                                    [word](const Command &c) { return c.word == word; });
    return found == std::end(commands) ? nullptr : found;
}

QString TraceEvent::line() const
{
    const QString head = QStringLiteral("%1.%2 %3 %4")
                             .arg(time.count() / 1'000'000)
                             .arg(time.count() % 1'000'000, 6, 10, QLatin1Char('0'))
                             .arg(QLatin1String(kindName(kind)), text);
    return bytes.isEmpty() ? head
                           : head + QStringLiteral(" | ") + QString::fromLatin1(bytes.toHex());
}

SimulatedDevice::Clock SimulatedDevice::steadyClock()
{
    const auto start = std::chrono::steady_clock::now();
    return [start] {
        return std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - start);
    };
}

SimulatedDevice::SimulatedDevice(const DeviceDescription &description, Clock clock, quint32 seed)
    : m_description(description),
      m_clock(std::move(clock)),
      m_random(seed),
      m_virtualVersion(description.virtualVersion)
{
    for (const ChipDescription &chip : description.chips)
        m_chips.append({chip, FlashMemory()});
}

QVector<DeviceAnswer> SimulatedDevice::receive(const QByteArray &bytes)
{
    const auto now = m_clock();
    if (m_reader.isMidFrame() && now - m_lastByteTime > halfFrameLife) {
        const QByteArray half = m_reader.dropHalfFrame();
        violation(half, QStringLiteral("a frame without its end"), status::refused);
    }
    m_lastByteTime = now;

    QVector<DeviceAnswer> answers;
    const auto items = m_reader.read(bytes);
    for (const HostItem &item : items)
        take(item, answers);
    return answers;
}

void SimulatedDevice::take(const HostItem &item, QVector<DeviceAnswer> &answers)
{
    switch (item.kind) {
    case HostItem::Kind::Frame:
        takeFrame(item.bytes, answers);
        break;
    case HostItem::Kind::BadChecksum: {
        const QByteArray reply =
            violation(item.bytes, QStringLiteral("wrong checksum"), status::checksumError);
        if (!isSilent())
            send(reply, milliseconds(0), answers);
        break;
    }
    case HostItem::Kind::Stray:
        violation(item.bytes, item.problem, status::refused);
        break;
    }
}

void SimulatedDevice::takeFrame(const QByteArray &frame, QVector<DeviceAnswer> &answers)
{
    const HostCommand host(frame);
    trace(TraceEvent::Kind::HostFrame, frame, describeHostFrame(frame));
    if (isSilent()) {
        trace(TraceEvent::Kind::Note, {}, QStringLiteral("silent: the device is down"));
        return;
    }
    const QVector<Fault> faults = m_faults.take(host.target());
    for (const Fault &fault : faults)
        trace(TraceEvent::Kind::Fault, {}, fault.text);

    m_extraDelay = m_description.answerTime;
    const QByteArray reply = obey(host, faults);
    if (!reply.isEmpty())
        deliver(reply, frame, faults, answers);
}

/** Executes the command, unless a fault prevents it. */
QByteArray SimulatedDevice::obey(const HostCommand &host, const QVector<Fault> &faults)
{
    using Kind = Fault::Kind;
    if (findFault(faults, Kind::Silent) || findFault(faults, Kind::SilentBlock))
        return {};
    if (const Fault *death = findFault(faults, Kind::DieAtBlock)) {
        closeFlashes();
        stayMuteFor(death->delay.count() == 0
                        ? std::nullopt
                        : std::optional<std::chrono::microseconds>(death->delay));
        return {};
    }
    for (const Kind kind : {Kind::Refuse, Kind::RefuseBlock}) {
        if (const Fault *refusal = findFault(faults, kind))
            return statusReply(host.word(), refusal->status);
    }
    const QByteArray reply = obeyUnharmed(host);
    if (findFault(faults, Kind::NoReturnAfterReboot))
        stayMuteFor(std::nullopt);
    return findFault(faults, Kind::LoseReply) ? QByteArray() : reply;
}

QByteArray SimulatedDevice::obeyUnharmed(const HostCommand &host)
{
    const QByteArray &frame = host.frame();
    if (mcu::wordAt(frame, mcu::lengthOffset + 2) != 0)
        return violation(frame, QStringLiteral("reserved bytes are not zero"), status::refused);
    if (host.isExtended()) {
        trace(TraceEvent::Kind::Note, {}, QStringLiteral("a status of the host, not answered"));
        return {};
    }
    if (quint8(frame.at(0)) != mcu::hostStart)
        return violation(frame, QStringLiteral("wrong start byte"), status::refused);
    const Command *command = findCommand(host.word());
    if (command == nullptr) {
        violation(frame, QStringLiteral("unknown command word"), status::refused);
        return {};
    }
    const int size = host.payload().size();
    if (command->payloadSize != anySize && size != command->payloadSize)
        return violation(
            frame,
            QStringLiteral("payload of %1 bytes, must be %2").arg(size).arg(command->payloadSize),
            status::refused);
    return (this->*command->handler)(host);
}

void SimulatedDevice::deliver(QByteArray reply, const QByteArray &host,
                              const QVector<Fault> &faults, QVector<DeviceAnswer> &answers)
{
    const milliseconds delay = delayOf(faults);
    reply = corruptedReply(reply, faults);
    if (findFault(faults, Fault::Kind::Merge)) {
        m_held += reply;
        return;
    }
    reply = std::exchange(m_held, {}) + surroundedReply(reply, host, faults, m_random);
    const Fault *split = findFault(faults, Fault::Kind::Split);
    if (split == nullptr) {
        send(reply, delay, answers);
        return;
    }
    for (int i = 0; i < reply.size(); ++i)
        send(reply.mid(i, 1), delay + i * split->delay, answers);
}

/** The answers of a busy device are queued, and sent one after the other later. */
milliseconds SimulatedDevice::delayOf(const QVector<Fault> &faults)
{
    milliseconds delay = m_extraDelay;
    if (const Fault *late = findFault(faults, Fault::Kind::Late))
        delay += late->delay;
    const auto now = m_clock();
    if (const Fault *busy = findFault(faults, Fault::Kind::Busy))
        m_busyUntil = std::max<std::chrono::microseconds>(m_busyUntil, now + busy->delay);
    if (now + delay < m_busyUntil) {
        delay = std::chrono::ceil<milliseconds>(m_busyUntil - now);
        m_busyUntil += milliseconds(1);
    }
    return delay;
}

void SimulatedDevice::send(const QByteArray &bytes, milliseconds delay,
                           QVector<DeviceAnswer> &answers)
{
    const QString what = bytes.size() > mcu::payloadOffset ? describeReply(bytes)
                                                           : QStringLiteral("part of a reply");
    trace(TraceEvent::Kind::DeviceFrame, bytes,
          delay.count() == 0 ? what : what + QStringLiteral(" in %1 ms").arg(delay.count()));
    answers.append({bytes, delay});
}

QByteArray SimulatedDevice::answerModelName(const HostCommand &host)
{
    return ordinaryReply(host.word(), m_description.model);
}

/** Echo, bootcode version (major, minor), MCU type, bootcode flag, product-information flag. */
QByteArray SimulatedDevice::answerBootcode(const HostCommand &host)
{
    const Chip *chip = findChip(host);
    if (chip == nullptr || chip::isFpga(chip->now.chipType))
        return noSuchChip(host);
    constexpr char bootcodeMajor = 1;
    constexpr char bootcodeMinor = 0;
    QByteArray payload = echoOf(host);
    payload.append(bootcodeMajor);
    payload.append(bootcodeMinor);
    payload.append(char(chip->now.mcuType));
    payload.append(char(chip->now.bootcode || chip->flash.isHalfWritten()));
    payload.append(char(chip->now.productInformation));
    return ordinaryReply(host.word(), payload);
}

QByteArray SimulatedDevice::answerProductInformation(const HostCommand &host)
{
    const Chip *chip = findChip(host);
    if (chip == nullptr || chip::isFpga(chip->now.chipType))
        return noSuchChip(host);
    ProductRecord record;
    record.chipType = chip->now.chipType;
    record.chipIndex = chip->now.chipIndex;
    record.pcbVersion = chip->now.pcbVersion;
    record.speciality = chip->now.speciality;
    if (chip->now.chipType == chip::mainMcu) {
        record.model = m_description.model;
        record.auxChips = m_description.auxChips;
    }
    return ordinaryReply(host.word(), record.encode());
}

/** A chip whose image was started and not finished has no version to report. */
QByteArray SimulatedDevice::answerVersion(const HostCommand &host)
{
    const Chip *chip = findChip(host);
    if (chip == nullptr)
        return noSuchChip(host);
    ChipVersion version = chip->now.version;
    if (chip->flash.isHalfWritten())
        version.first = version.second = version.third = 0;
    QByteArray payload = echoOf(host);
    payload.append(char(version.first));
    payload.append(char(version.second));
    if (version.hasThird)
        payload.append(char(version.third));
    return ordinaryReply(host.word(), payload);
}

QByteArray SimulatedDevice::answerProductId(const HostCommand &host)
{
    return ordinaryReply(host.word(), m_description.productId);
}

QByteArray SimulatedDevice::answerVirtualVersion(const HostCommand &host)
{
    return ordinaryReply(host.word(), QByteArray(1, char(m_virtualVersion)));
}

QByteArray SimulatedDevice::enterUpdateMode(const HostCommand &host)
{
    Chip *chip = findChip(host);
    if (chip == nullptr)
        return noSuchChip(host);
    chip->flash.open();
    return statusReply(host.word(), status::done);
}

QByteArray SimulatedDevice::writeBlock(const HostCommand &host)
{
    Chip *chip = findChip(host);
    if (chip == nullptr)
        return noSuchChip(host);
    const bool isFirst = host.target().block == 0;
    const FlashMemory::Verdict verdict = chip->flash.write(host.payload());
    if (!verdict.accepted)
        return violation(host.frame(), verdict.problem, status::refused);
    if (isFirst)
        m_extraDelay += m_description.eraseTime;
    if (verdict.completed)
        imageCompleted(*chip);
    return statusReply(host.word(), status::done);
}

QByteArray SimulatedDevice::reboot(const HostCommand &host)
{
    ++m_rebootCount;
    closeFlashes();
    stayMuteFor(m_description.rebootTime);
    return statusReply(host.word(), status::done);
}

QByteArray SimulatedDevice::setVirtualVersion(const HostCommand &host)
{
    m_virtualVersion = host.at(mcu::payloadOffset);
    return statusReply(host.word(), status::done);
}

/** Answered in the ordinary form: echo, then the status. */
QByteArray SimulatedDevice::writeProductInformation(const HostCommand &host)
{
    Chip *chip = host.payload().size() >= 2 ? findChip(host) : nullptr;
    if (chip == nullptr || chip::isFpga(chip->now.chipType))
        return noSuchChip(host);
    const ProductRecord record = ProductRecord::decode(host.payload());
    if (record.encode() != host.payload())
        return violation(host.frame(), QStringLiteral("malformed product-information record"),
                         status::refused);
    chip->now.pcbVersion = record.pcbVersion;
    chip->now.speciality = record.speciality;
    chip->now.productInformation = true;
    if (chip->now.chipType == chip::mainMcu) {
        m_description.model = record.model.value_or(m_description.model);
        m_description.auxChips = record.auxChips;
    }
    return ordinaryReply(host.word(), echoOf(host) + char(status::done));
}

const SimulatedDevice::Chip *SimulatedDevice::chip(quint8 type, quint8 index) const
{
    const auto found = std::find_if(m_chips.begin(), m_chips.end(), [=](const Chip &chip) {
        return chip.now.chipType == type && chip.now.chipIndex == index;
    });
    return found == m_chips.end() ? nullptr : &*found;
}

SimulatedDevice::Chip *SimulatedDevice::findChip(const HostCommand &host)
{
    const Chip *found = chip(host.at(mcu::payloadOffset), host.at(mcu::payloadOffset + 1));
    return found == nullptr ? nullptr : &m_chips[int(found - m_chips.constData())];
}

/** A missing chip does not answer. */
QByteArray SimulatedDevice::noSuchChip(const HostCommand &host)
{
    violation(host.frame(), QStringLiteral("no chip that takes this command"), status::refused);
    return {};
}

QByteArray SimulatedDevice::flash(quint8 type, quint8 index) const
{
    const Chip *found = chip(type, index);
    return found == nullptr ? QByteArray() : found->flash.bytes();
}

void SimulatedDevice::imageCompleted(Chip &chip)
{
    chip.now.version = chip.now.upgradesTo.value_or(chip.now.version);
    if (chip.now.bootcodeClears)
        chip.now.bootcode = false;
    trace(TraceEvent::Kind::Note, {},
          QStringLiteral("image of '%1' complete, %2 bytes with padding, version %3")
              .arg(chip.now.name)
              .arg(chip.flash.bytes().size())
              .arg(chip.now.version.text()));
    // All frames pass through the main MCU: while it restarts, no chip answers.
    if (chip.now.chipType == chip::mainMcu && chip.now.chipIndex == 0)
        stayMuteFor(m_description.restartTime);
}

void SimulatedDevice::closeFlashes()
{
    for (Chip &chip : m_chips)
        chip.flash.close();
}

void SimulatedDevice::stayMuteFor(std::optional<std::chrono::microseconds> time)
{
    if (time)
        m_muteUntil = m_clock() + *time;
    m_dead = !time;
}

bool SimulatedDevice::isSilent()
{
    if (m_muteUntil && m_clock() >= *m_muteUntil) {
        m_muteUntil.reset();
        trace(TraceEvent::Kind::Note, {}, QStringLiteral("the device is up again"));
    }
    return m_dead || m_muteUntil;
}

void SimulatedDevice::powerCycle()
{
    m_dead = false;
    m_muteUntil.reset();
    m_busyUntil = std::chrono::microseconds(0);
    m_held.clear();
    m_reader.dropHalfFrame();
    closeFlashes();
    trace(TraceEvent::Kind::Note, {}, QStringLiteral("power cycle"));
}

/** Reports a broken frame and returns the refusal that answers it, if it can be answered. */
QByteArray SimulatedDevice::violation(const QByteArray &frame, const QString &problem,
                                      quint8 status)
{
    ++m_violationCount;
    trace(TraceEvent::Kind::Violation, frame, problem);
    const bool hasWord = frame.size() >= mcu::payloadOffset;
    return statusReply(hasWord ? mcu::wordAt(frame, mcu::wordOffset) : quint16{0}, status);
}

void SimulatedDevice::trace(TraceEvent::Kind kind, const QByteArray &bytes, const QString &text)
{
    if (m_trace)
        m_trace({m_clock(), kind, bytes, text});
}
