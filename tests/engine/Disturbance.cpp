// SPDX-License-Identifier: Apache-2.0
#include "engine/Disturbance.h"

namespace {

struct Kind
{
    Trouble trouble;
    const char *name;
    QList<int> times;
};

const Kind kinds[] = {
    {Trouble::Silent, "silent", {1, 2, 3}},
    {Trouble::LostReply, "reply lost", {1, 3}},
    {Trouble::Refused, "refused", {1, 2, 3}},
    {Trouble::Short, "short", {1, 3}},
    {Trouble::BadChecksum, "bad checksum", {1, 2, 3}},
    {Trouble::WrongWord, "wrong word", {1, 3}},
    {Trouble::WrongAddress, "wrong address", {1}},
    {Trouble::Half, "half a reply", {1}},
    {Trouble::Late, "late", {1}},
    {Trouble::LateMerged, "late, in one chunk", {1}},
    {Trouble::LateNextSilent, "late, the next one silent", {1}},
    {Trouble::Duplicate, "twice", {1}},
    {Trouble::DuplicateApart, "twice, in two chunks", {1}},
    {Trouble::SingleBytes, "in single bytes", {1}},
    {Trouble::Noise, "after noise", {1}},
    {Trouble::Echo, "after an echo", {1}},
    {Trouble::Unplugged, "unplugged", {1}},
    {Trouble::PowerCut, "power cut", {1, 2}},
};

/** Enter and the blocks are tried again as a whole: these never succeed. */
const Kind lastingKinds[] = {
    {Trouble::Silent, "silent", {9}},
    {Trouble::Refused, "refused", {9}},
};

/** What such an upgrade does otherwise than any other. */
QList<Command> bootcodeFirstCommands()
{
    QList<Command> commands{{"F802 main", -1}, {"F900", 1}, {"F901", 1}, {"F902", 0}, {"F902", 2}};
    for (const char *word : {"F900", "F901", "7900", "7901:0", "7901:1", "7901:2"})
        commands.append({QString::fromLatin1(word), 0});
    return commands;
}

QList<Command> commandsOf(Chain chain)
{
    if (chain == Chain::BootcodeFirst)
        return bootcodeFirstCommands();
    QList<Command> commands;
    if (chain == Chain::Upgrade)
        commands.append({"F903", -1});
    if (chain == Chain::Read)
        commands.append({"F905", -1});
    QStringList perRow{"F900", "F901", "F902"};
    if (chain == Chain::Upgrade)
        perRow += {"7900", "7901:0", "7901:1", "7901:2"};
    if (chain == Chain::Write)
        perRow = QStringList{"7903"};
    for (int row = 0; row < matrix::rowCount; ++row) {
        for (const QString &word : qAsConst(perRow))
            commands.append({word, row});
    }
    if (chain == Chain::Upgrade) {
        for (const char *word : {"F802 main", "7902", "F802 system", "7905"})
            commands.append({QString::fromLatin1(word), -1});
    }
    return commands;
}

template<typename Kinds>
void append(QList<Disturbance> &cases, Chain chain, const Command &command, const Kinds &kinds)
{
    for (const Kind &kind : kinds) {
        for (const int times : kind.times)
            cases.append({chain, command, kind.trouble, times});
    }
}

} // namespace

// Every version differs, so that a reply credited to another row shows.
const MatrixRow matrix::rows[matrix::rowCount] = {
    {"MAIN", 0, 0, 1, {1, 0, 1}},
    {"AUX", 1, 0, 2, {1, 0, 2}},
    {"END", 1, 1, 2, {1, 0, 3}},
};

QList<Disturbance> matrix::casesOf(Chain chain)
{
    QList<Disturbance> cases{{chain, {}, Trouble::None, 0}};
    const QList<Command> commands = commandsOf(chain);
    for (const Command &command : commands) {
        append(cases, chain, command, kinds);
        if (command.word.startsWith("790") && command.row >= 0 && chain != Chain::Write)
            append(cases, chain, command, lastingKinds);
    }
    return cases;
}

QString Disturbance::name() const
{
    if (trouble == Trouble::None)
        return QString("undisturbed");
    QString what = QString("always ");
    for (const Kind &kind : kinds) {
        if (kind.trouble == trouble)
            what = QString::fromLatin1(kind.name);
    }
    const QString where =
        command.row < 0 ? QString()
                        : QLatin1String(" of ") + QLatin1String(matrix::rows[command.row].name);
    return QString("%1%2, %3 x %4").arg(command.word, where, what).arg(times);
}
