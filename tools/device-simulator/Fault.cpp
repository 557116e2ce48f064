// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/Fault.h"

#include "device-simulator/CommandNames.h"

#include "protocol/CommandWords.h"

#include <algorithm>

namespace command = protocol::command;

namespace {

struct Entry
{
    Fault::Kind kind;
    const char *name;
    const char *keys;
    const char *help;
};

// clang-format off
const Entry catalogue[] = {
    {Fault::Kind::Silent,       "silent",        "",        "ignores the command"},
    {Fault::Kind::LoseReply,    "lose-reply",    "",        "executes the command, but the reply is lost"},
    {Fault::Kind::Refuse,       "refuse",        "status=3", "refuses the command with a status"},
    {Fault::Kind::Late,         "late",          "delay=MS (12000)", "answers late"},
    {Fault::Kind::Busy,         "busy",          "delay=MS (12000)", "answers late, and no other command before this one"},
    {Fault::Kind::BadChecksum,  "bad-checksum",  "",        "sends the reply with a wrong checksum"},
    {Fault::Kind::WrongWord,    "wrong-word",    "as=WORD (F8FF)", "answers with another command word"},
    {Fault::Kind::Short,        "short",         "bytes=N (0)", "keeps only N bytes of the reply's data"},
    {Fault::Kind::Duplicate,    "duplicate",     "",        "sends the reply twice"},
    {Fault::Kind::Echo,         "echo",          "",        "repeats the host's own bytes before the reply"},
    {Fault::Kind::Noise,        "noise",         "bytes=N (16) or hex=BYTES", "sends random or given bytes before the reply"},
    {Fault::Kind::Split,        "split",         "delay=MS (0)", "sends the reply in single bytes"},
    {Fault::Kind::Merge,        "merge",         "",        "keeps the reply and sends it with the next one"},
    {Fault::Kind::WrongAddress, "wrong-address", "",        "puts other frame address bytes into the reply"},
    {Fault::Kind::OtherForm,    "other-form",    "",        "swaps the ordinary and the extended form of a status"},
    {Fault::Kind::RefuseBlock,  "refuse-block",  "block=N, status=3", "refuses image block N"},
    {Fault::Kind::SilentBlock,  "silent-block",  "block=N", "ignores image block N"},
    {Fault::Kind::DieAtBlock,   "die-at-block",  "block=N, delay=MS (never)", "fails when image block N arrives, restarts after MS"},
    {Fault::Kind::NoReturnAfterReboot, "no-return-after-reboot", "", "accepts the reboot and stays silent"},
};
// clang-format on

const Entry *findEntry(const QString &name)
{
    const auto found = std::find_if(std::begin(catalogue), std::end(catalogue),
                                    [&](const Entry &e) { return name == QLatin1String(e.name); });
    return found == std::end(catalogue) ? nullptr : found;
}

std::optional<int> parseNumber(const QString &text, int most)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= 0 && number <= most ? std::optional<int>(number) : std::nullopt;
}

std::optional<int> parseCount(const QString &text)
{
    static const QStringList words{QStringLiteral("once"), QStringLiteral("twice"),
                                   QStringLiteral("three-times")};
    if (text == QLatin1String("always"))
        return Fault::always;
    const int word = words.indexOf(text);
    return word >= 0 ? word + 1 : parseNumber(text, 1'000'000'000);
}

/** Stores a parsed number in a member; false when there is none. */
template<typename Member, typename Number>
bool put(Member &member, const std::optional<Number> &number)
{
    if (number)
        member = Member(*number);
    return number.has_value();
}

bool setKey(Fault &fault, const QString &key, const QString &value)
{
    constexpr int anyNumber = 1'000'000'000;
    if (key == QLatin1String("word"))
        return put(fault.word, commandNamed(value));
    if (key == QLatin1String("type"))
        return put(fault.chipType, parseNumber(value, 255));
    if (key == QLatin1String("index"))
        return put(fault.chipIndex, parseNumber(value, 255));
    if (key == QLatin1String("block"))
        return put(fault.block, parseNumber(value, anyNumber));
    if (key == QLatin1String("skip"))
        return put(fault.skip, parseNumber(value, anyNumber));
    if (key == QLatin1String("count"))
        return put(fault.count, parseCount(value));
    if (key == QLatin1String("delay"))
        return put(fault.delay, parseNumber(value, anyNumber));
    if (key == QLatin1String("status"))
        return put(fault.status, parseNumber(value, 255));
    if (key == QLatin1String("bytes"))
        return put(fault.bytes, parseNumber(value, 65'536));
    if (key == QLatin1String("hex")) {
        fault.exactBytes = QByteArray::fromHex(value.toLatin1());
        return fault.exactBytes.size() * 2 == value.size() && !value.isEmpty();
    }
    if (key == QLatin1String("as"))
        return put(fault.otherWord, commandNamed(value));
    return false;
}

void setDefaults(Fault &fault)
{
    switch (fault.kind) {
    case Fault::Kind::Late:
    case Fault::Kind::Busy:
        fault.delay = std::chrono::seconds(12);
        break;
    case Fault::Kind::Noise:
        fault.bytes = 16;
        break;
    case Fault::Kind::RefuseBlock:
    case Fault::Kind::SilentBlock:
    case Fault::Kind::DieAtBlock:
        fault.word = command::writeBlock;
        break;
    case Fault::Kind::NoReturnAfterReboot:
        fault.word = command::reboot;
        break;
    default:
        break;
    }
}

template<typename Value>
bool allows(const std::optional<Value> &wanted, const std::optional<Value> &found)
{
    return !wanted || wanted == found;
}

bool meets(const Fault &fault, const FaultTarget &target)
{
    return fault.count != 0 && allows(fault.word, std::optional<quint16>(target.word)) &&
           allows(fault.chipType, target.chipType) && allows(fault.chipIndex, target.chipIndex) &&
           allows(fault.block, target.block);
}

} // namespace

std::optional<Fault> Fault::parse(const QString &text, QString *error)
{
    const int colon = text.indexOf(QLatin1Char(':'));
    const Entry *entry = findEntry(text.left(colon));
    if (entry == nullptr) {
        *error = QStringLiteral("no fault is named '%1'").arg(text.left(colon));
        return std::nullopt;
    }
    Fault fault;
    fault.kind = entry->kind;
    fault.text = text;
    setDefaults(fault);
    if (colon < 0)
        return fault;
    const QStringList arguments = text.mid(colon + 1).split(QLatin1Char(','));
    for (const QString &argument : arguments) {
        const int equals = argument.indexOf(QLatin1Char('='));
        if (equals < 0 || !setKey(fault, argument.left(equals), argument.mid(equals + 1))) {
            *error = QStringLiteral("fault '%1': cannot read '%2'")
                         .arg(QLatin1String(entry->name), argument);
            return std::nullopt;
        }
    }
    return fault;
}

QStringList Fault::help()
{
    QStringList lines;
    for (const Entry &entry : catalogue) {
        const QString name = QLatin1String(entry.name);
        const QString keys = QLatin1String(entry.keys);
        const QString what = QLatin1String(entry.help);
        lines.append(name.leftJustified(24) +
                     (keys.isEmpty() ? what : QStringLiteral("%1; %2").arg(what, keys)));
    }
    return lines;
}

QStringList Fault::keyHelp()
{
    return {
        QStringLiteral("word=WORD               only this command: four hexadecimal digits, or %1")
            .arg(commandNames().join(QStringLiteral(", "))),
        QStringLiteral("type=N, index=N         only this chip"),
        QStringLiteral("skip=N                  the first N matching commands are not affected"),
        QStringLiteral(
            "count=N                 once, twice, three-times, always (default) or a number"),
    };
}

QVector<Fault> FaultTable::take(const FaultTarget &target)
{
    QVector<Fault> taken;
    for (Fault &fault : m_faults) {
        if (!meets(fault, target))
            continue;
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        if (fault.count > 0)
            --fault.count;
        taken.append(fault);
    }
    return taken;
}

const Fault *findFault(const QVector<Fault> &faults, Fault::Kind kind)
{
    const auto found = std::find_if(faults.begin(), faults.end(),
                                    [kind](const Fault &fault) { return fault.kind == kind; });
    return found == faults.end() ? nullptr : &*found;
}
