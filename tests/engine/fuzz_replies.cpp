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
quint16 anyWord(ScriptedEngine &world, FuzzInput &input)
{
    const int choice = input.below(int(std::size(words)) + 4);
    return choice < int(std::size(words)) ? words[choice] : world.lastWord();
}

QByteArray anyFrame(ScriptedEngine &world, FuzzInput &input)
{
    const quint16 word = anyWord(world, input);
    return mcu::buildFrame(mcu::replyStart, {}, word, input.bytes(input.byte()));
}

QByteArray anyStatus(ScriptedEngine &world, FuzzInput &input)
{
    const quint16 word = anyWord(world, input);
    return mcu::buildStatusFrame(mcu::replyStart, {}, word, input.below(4));
}

QByteArray spoiled(QByteArray bytes, FuzzInput &input)
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

using Step = void (*)(ScriptedEngine &world, FuzzInput &input);

// clang-format off
const Step steps[] = {
    [](ScriptedEngine &world, FuzzInput &input) { world.carryOn(input.byte()); },
    [](ScriptedEngine &world, FuzzInput &input) { world.carryOn(1 + input.below(8)); },
    [](ScriptedEngine &world, FuzzInput &input) { world.deliver(input.bytes(input.byte())); },
    [](ScriptedEngine &world, FuzzInput &input) { world.deliver(anyFrame(world, input)); },
    [](ScriptedEngine &world, FuzzInput &input) { world.deliver(anyStatus(world, input)); },
    [](ScriptedEngine &world, FuzzInput &input) { world.deliver(anyStatus(world, input) + anyFrame(world, input)); },
    [](ScriptedEngine &world, FuzzInput &input) { world.answer([&](const QByteArray &bytes) { return spoiled(bytes, input); }); },
    [](ScriptedEngine &world, FuzzInput &) { world.loseAnswers(); },
    [](ScriptedEngine &world, FuzzInput &input) { world.advance(std::chrono::seconds(1 + input.below(64))); },
    [](ScriptedEngine &world, FuzzInput &input) { world.failWrites(input.below(8)); },
    [](ScriptedEngine &world, FuzzInput &) { world.unplug(); },
    [](ScriptedEngine &world, FuzzInput &) { world.plugIn(); },
    [](ScriptedEngine &world, FuzzInput &input) { const int package = input.below(ScriptedEngine::packageCount()); const int mode = input.below(3); world.upgrade(package, mode == 0 ? 2 : mode == 1 ? 5 : 1, anyRows(input)); },
    [](ScriptedEngine &world, FuzzInput &input) { world.writeFile(input.below(3)); },
    [](ScriptedEngine &world, FuzzInput &) { world.listPackage(); },
    [](ScriptedEngine &world, FuzzInput &) { world.engine().getProductInfo(); },
    [](ScriptedEngine &world, FuzzInput &input) { world.engine().setProductInfo(anyRows(input)); },
    [](ScriptedEngine &world, FuzzInput &) { world.engine().slotGetVersion(); },
    [](ScriptedEngine &world, FuzzInput &) { world.engine().disconnected(); },
    [](ScriptedEngine &world, FuzzInput &input) { world.engine().sendAppStatus(command::applicationStatus, input.below(4)); },
};
// clang-format on

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    silenceStandardError();
    VirtualTime::instance();
    ScriptedEngine world;
    for (FuzzInput input(data, size); !input.atEnd();)
        steps[input.below(std::size(steps))](world, input);
    world.endInSilence();
    return 0;
}
