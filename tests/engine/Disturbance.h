// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/** The chains of commands of the engine. */
enum class Chain {
    Upgrade,
    /** An upgrade of a device whose main MCU runs its bootcode. */
    BootcodeFirst,
    Read,
    Write,
};

/** The failures of one command and its reply. */
enum class Trouble {
    None,
    /** The device does not receive the command. */
    Silent,
    /** The device executes the command, and its reply is lost. */
    LostReply,
    /** An extended status frame with a status other than 0. */
    Refused,
    /** An ordinary reply without any data. */
    Short,
    BadChecksum,
    WrongWord,
    WrongAddress,
    /** Only the first half of the reply arrives. */
    Half,
    /** The reply comes after the retry, before the reply to the retry. */
    Late,
    /** The same, both in one chunk. */
    LateMerged,
    /** Late, and the device does not receive the next command. */
    LateNextSilent,
    Duplicate,
    /** The same, in two chunks. */
    DuplicateApart,
    SingleBytes,
    Noise,
    Echo,
    /** The link is lost from this command on. */
    Unplugged,
    /** The device restarts instead of receiving the command. */
    PowerCut,
};

/** One command of a chain, at one row of it. */
struct Command
{
    /** The word in hexadecimal; a block is followed by its number, as in "7901:2", the two
     *  polls by "main" and "system". */
    QString word;
    /** -1 for commands to the whole device. */
    int row = -1;
};

/** One case of the failure matrix. */
struct Disturbance
{
    Chain chain = Chain::Upgrade;
    Command command;
    Trouble trouble = Trouble::None;
    /** How many times in a row the command is disturbed. */
    int times = 1;

    QString name() const;
};

/** One row of the matrix's chains. */
struct MatrixRow
{
    const char *name;
    int chipType;
    int chipIndex;
    int mcuType;
    /** The version in the chip; the package has a newer one. */
    int version[3];
};

namespace matrix {

constexpr int rowCount = 3;
/** The main MCU, another, and the last row. */
extern const MatrixRow rows[rowCount];
constexpr int blocksPerImage = 3;
constexpr int imageSize = 700;

/** Every case of one chain. */
QList<Disturbance> casesOf(Chain chain);

} // namespace matrix
