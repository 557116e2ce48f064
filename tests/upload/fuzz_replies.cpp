// SPDX-License-Identifier: Apache-2.0
// The uploader and whatever comes back on the line, as a script of the input: bytes, replies, time,
// failed writes, other images.
#include "protocol/CommandWords.h"
#include "support/Fuzz.h"
#include "support/TransferWitness.h"
#include "upload/FakeLink.h"
#include "upload/UploadTexts.h"

namespace block = protocol::block;
namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace uploadText = upload::uploadText;

namespace {

using std::chrono::seconds;

/** None, one without a last block, exactly one block, and more. */
const int imageSizes[] = {0, 100, 256, 257, 512, 700};
/** Three tries of one block, the last of them waiting longest: by then silence has ended it. */
constexpr std::chrono::minutes longest(2);

class Fixture : public Transfer
{
public:
    Fixture()
    {
        link.onSent = [this](const QByteArray &frame) { witness.sent(frame); };
        QObject::connect(&upload, &CoreUpload::message, &upload,
                         [this](const QStringList &list) { hear(list); });
        QObject::connect(&upload, &CoreUpload::progressValueChanged, &upload,
                         [this](double percent) { progress(percent); });
    }

    void start(int size)
    {
        witness.restart();
        lastPercent = 0.0;
        running = size > 0;
        Transfer::start(size);
    }

    void stop()
    {
        upload.reset();
        running = false;
    }

    void deliver(const QByteArray &bytes)
    {
        witness.received(bytes);
        link.deliver(bytes);
    }

    bool canEndInSilence() const { return !running || image.size() < block::dataSize; }

private:
    void hear(const QStringList &list)
    {
        const QString verdict = list.value(list.size() - 1);
        const bool success = verdict == QLatin1String(uploadText::success);
        if (!success && verdict != QLatin1String(uploadText::fail))
            return;
        require(running);
        running = false;
        require(!success || (witness.isComplete() && witness.holds(image)));
    }

    /** The first block of an image shorter than itself counts as more than the whole. */
    void progress(double percent)
    {
        require(percent >= lastPercent);
        require(percent <= 100.0 || image.size() < block::dataSize);
        lastPercent = percent;
    }

    TransferWitness witness;
    double lastPercent = 0.0;
    bool running = false;
};

QByteArray anyFrame(FuzzInput &input)
{
    const quint16 word = input.below(2) == 0 ? command::escape : command::writeBlock;
    return mcu::buildFrame(mcu::replyStart, {}, word, input.bytes(input.byte()));
}

void step(Fixture &fixture, FuzzInput &input)
{
    switch (input.below(8)) {
    case 0:
        return fixture.start(imageSizes[input.below(std::size(imageSizes))]);
    case 1:
        return fixture.deliver(input.bytes(input.byte()));
    case 2:
        return fixture.deliver(anyFrame(input));
    case 3:
        return fixture.deliver(blockReply());
    case 4:
        return fixture.deliver(blockReply(input.byte()) + input.bytes(input.below(32)));
    case 5:
        return fixture.clock.advance(seconds(1 + input.below(32)));
    case 6:
        fixture.link.failures = input.below(5);
        return;
    default:
        return fixture.stop();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    silenceStandardError();
    Fixture fixture;
    for (FuzzInput input(data, size); !input.atEnd();)
        step(fixture, input);
    fixture.clock.advance(longest);
    require(fixture.canEndInSilence());
    const int frames = fixture.link.sent.size();
    fixture.clock.advance(longest);
    require(fixture.link.sent.size() == frames);
    return 0;
}
