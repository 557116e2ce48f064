// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"

#include "protocol/BlockPayload.h"
#include "support/Fuzz.h"

namespace block = protocol::block;
namespace mcu = protocol::mcu;

namespace {

/** Every fault that changes no byte of a reply, so that replies stay checkable. */
const char *const faults[] = {
    nullptr, "silent:skip=1,count=2", "lose-reply:count=2", "refuse:count=3", "duplicate", "merge",
};

/** Bytes are neither lost nor made up: what was read is what came, in order. */
void readWhole(const QByteArray &bytes, int cut)
{
    HostFrameReader reader;
    QByteArray seen;
    for (int from = 0; from < bytes.size(); from += cut) {
        const auto items = reader.read(bytes.mid(from, cut));
        for (const HostItem &item : items) {
            const bool isFrame = item.kind != HostItem::Kind::Stray;
            const bool isGood = item.kind == HostItem::Kind::Frame;
            require(isFrame == item.problem.isEmpty());
            require(!isFrame || isGood == (mcu::byteSum(item.bytes) == 0));
            seen += item.bytes;
        }
    }
    require(reader.isMidFrame() || seen == bytes);
    require(seen + reader.dropHalfFrame() == bytes);
}

/** The frames in a device's answer, each of them a whole and checked one. */
int countReplies(QByteArray bytes)
{
    int count = 0;
    for (; !bytes.isEmpty(); ++count) {
        require(bytes.size() > mcu::payloadOffset);
        const int size = mcu::wordAt(bytes, mcu::lengthOffset) + mcu::uncounted;
        require(bytes.size() >= size && mcu::byteSum(bytes.left(size)) == 0);
        bytes.remove(0, size);
    }
    return count;
}

void requireFlash(const SimulatedDevice &device, int bytes)
{
    for (const SimulatedDevice::Chip &chip : device.chips()) {
        const QByteArray &flash = chip.flash.bytes();
        require(flash.size() % block::dataSize == 0 && flash.size() <= bytes);
    }
}

/** What the device hears is judged frame by frame, and answered once for each at most. */
void obey(const QByteArray &bytes, int cut, const char *fault)
{
    TestDevice test;
    if (fault != nullptr)
        test.addFault(QString::fromLatin1(fault));
    int replies = 0;
    for (int from = 0; from < bytes.size(); from += cut) {
        const auto answers = test.device.receive(bytes.mid(from, cut));
        for (const DeviceAnswer &answer : answers)
            replies += countReplies(answer.bytes);
        test.now += std::chrono::milliseconds(cut);
    }
    require(replies <= 2 * bytes.size() / (mcu::emptyLength + mcu::uncounted));
    require(test.device.violationCount() <= bytes.size());
    requireFlash(test.device, bytes.size());
    test.device.powerCycle();
    require(!test.device.isSilent());
}

} // namespace

/** Any bytes of a host. The first two say in what pieces they come and what is wrong with the
 *  device. */
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    FuzzInput input(data, size);
    const int cut = std::max<int>(1, input.byte());
    const char *const fault = faults[input.below(std::size(faults))];
    const QByteArray bytes = input.rest();
    readWhole(bytes, cut);
    obey(bytes, cut, fault);
    return 0;
}
