// SPDX-License-Identifier: Apache-2.0
// The engine and whatever comes back on the line, as a script of the input: bytes, replies, time,
// a line that breaks, and the requests of console clients in between.
#include "engine/ScriptedEngine.h"
#include "support/Fuzz.h"

namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace {

const quint16 words[] = {
    command::enterUpdateMode,
    command::writeBlock,
    command::reboot,
    command::setVirtualVersion,
    command::readProductId,
    command::readBootcode,
    command::readModelName,
    command::readVersion,
    command::readProductInformation,
    command::readVirtualVersion,
    command::writeProductInformation,
    command::escape,
};

const char *const rows[] = {
    "MAIN,0,0", "AUX,1,0", "SHORT,2,0", "FPGA,17,0", "NET,32,0", "NONE,9,9", "MAIN,0,1", "AUX,1,7",
};

/** The rows that the bits of a byte choose, and one that the input spells. */
QStringList anyRows(FuzzInput &input)
{
    QStringList list;
    const int chosen = input.byte();
    for (int i = 0; i < int(std::size(rows)); ++i) {
        if ((chosen & (1 << i)) != 0)
            list.append(QString::fromLatin1(rows[i]));
    }
    const QByteArray own = input.bytes(input.below(32));
    if (!own.isEmpty())
        list.append(QString::fromUtf8(own.constData(), own.size()));
    return list;
}

/** The word of the command in flight, or one of the table. */
quint16 anyWord(ScriptedEngine &fixture, FuzzInput &input)
{
    const int choice = input.below(int(std::size(words)) + 4);
    return choice < int(std::size(words)) ? words[choice] : fixture.lastWord();
}

QByteArray anyFrame(ScriptedEngine &fixture, FuzzInput &input)
{
    const quint16 word = anyWord(fixture, input);
    return mcu::buildFrame(mcu::replyStart, {}, word, input.bytes(input.byte()));
}

QByteArray anyStatus(ScriptedEngine &fixture, FuzzInput &input)
{
    const quint16 word = anyWord(fixture, input);
    return mcu::buildStatusFrame(mcu::replyStart, {}, word, input.below(4));
}

QByteArray corrupted(QByteArray bytes, FuzzInput &input)
{
    switch (input.below(5)) {
    case 0:
        return bytes + bytes;
    case 1:
        return bytes.left(input.byte());
    case 2:
        return bytes + input.bytes(input.below(32));
    case 3:
        return input.bytes(input.below(32)) + bytes;
    default:
        bytes[input.byte() % bytes.size()] = char(input.byte());
        return bytes;
    }
}

using Step = void (*)(ScriptedEngine &fixture, FuzzInput &input);

// clang-format off
const Step steps[] = {
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.carryOn(input.byte()); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.carryOn(1 + input.below(8)); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.deliver(input.bytes(input.byte())); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.deliver(anyFrame(fixture, input)); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.deliver(anyStatus(fixture, input)); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.deliver(anyStatus(fixture, input) + anyFrame(fixture, input)); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.answer([&](const QByteArray &bytes) { return corrupted(bytes, input); }); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.loseAnswers(); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.advance(std::chrono::seconds(1 + input.below(64))); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.failWrites(input.below(8)); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.unplug(); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.plugIn(); },
    [](ScriptedEngine &fixture, FuzzInput &input) { const int package = input.below(ScriptedEngine::packageCount()); const int mode = input.below(3); fixture.upgrade(package, mode == 0 ? 2 : mode == 1 ? 5 : 1, anyRows(input)); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.writeFile(input.below(3)); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.listPackage(); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.engine().getProductInfo(); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.engine().setProductInfo(anyRows(input)); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.engine().slotGetVersion(); },
    [](ScriptedEngine &fixture, FuzzInput &) { fixture.engine().disconnected(); },
    [](ScriptedEngine &fixture, FuzzInput &input) { fixture.engine().sendAppStatus(command::applicationStatus, input.below(4)); },
};
// clang-format on

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    silenceStandardError();
    VirtualTime::instance();
    ScriptedEngine fixture;
    for (FuzzInput input(data, size); !input.atEnd();)
        steps[input.below(std::size(steps))](fixture, input);
    fixture.endInSilence();
    return 0;
}
