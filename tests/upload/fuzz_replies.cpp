// SPDX-License-Identifier: Apache-2.0
// The uploader and whatever comes back on the line, as a script of the input: bytes, replies, time,
// failed writes, other images.
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/Fuzz.h"
#include "support/TransferWitness.h"
#include "support/VirtualTime.h"
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

class Fixture
{
public:
    Fixture()
    {
        canRead = false;
        currentCommandKey = 0;
        upload.setTransports(&link, nullptr);
        QObject::connect(&link, &CoreCOMQ::signalReceiveDatas, &upload,
                         &CoreUpload::slotReceiveDatas);
        QObject::connect(&upload, &CoreUpload::message, &upload,
                         [this](const QStringList &list) { hear(list); });
        QObject::connect(&upload, &CoreUpload::progressValueChanged, &upload,
                         [this](double percent) { progress(percent); });
    }

    void start(int size)
    {
        note();
        witness.restart();
        image = imageOf(size);
        lastPercent = 0.0;
        running = size > 0;
        upload.uploadData(7, 2, image, size);
        note();
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
        note();
    }

    void advance(std::chrono::milliseconds time)
    {
        clock.advance(time);
        note();
    }

    bool canEndInSilence() const { return !running || image.size() < block::dataSize; }

    FakeLink link;

private:
    /** Shows the witness what went out since. */
    void note()
    {
        for (; seen < link.sent.size(); ++seen)
            witness.sent(link.sent.at(seen));
    }

    void hear(const QStringList &list)
    {
        note();
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

    VirtualTime &clock = VirtualTime::instance();
    CoreUpload upload;
    TransferWitness witness;
    QByteArray image;
    double lastPercent = 0.0;
    bool running = false;
    int seen = 0;
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
        return fixture.advance(seconds(1 + input.below(32)));
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
    VirtualTime::instance();
    Fixture fixture;
    for (FuzzInput input(data, size); !input.atEnd();)
        step(fixture, input);
    fixture.advance(longest);
    require(fixture.canEndInSilence());
    const int frames = fixture.link.sent.size();
    fixture.advance(longest);
    require(fixture.link.sent.size() == frames);
    return 0;
}
