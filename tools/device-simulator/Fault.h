// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <chrono>
#include <optional>

/** One fault of a device, and the commands that it affects. */
struct Fault
{
    enum class Kind {
        Silent,
        LoseReply,
        Refuse,
        Late,
        Busy,
        BadChecksum,
        WrongWord,
        Short,
        Duplicate,
        Echo,
        Noise,
        Split,
        Merge,
        WrongAddress,
        OtherForm,
        RefuseBlock,
        SilentBlock,
        DieAtBlock,
        NoReturnAfterReboot,
    };

    static constexpr int always = -1;

    Kind kind = Kind::Silent;
    /** The affected commands; absent means any. */
    std::optional<quint16> word;
    std::optional<quint8> chipType;
    std::optional<quint8> chipIndex;
    std::optional<int> block;
    /** The number of matching commands that are not affected at first. */
    int skip = 0;
    /** The number of affected commands after them. */
    int count = always;

    // What only some kinds use.
    std::chrono::milliseconds delay{0};
    quint8 status = 3;
    quint16 otherWord = 0xF8FF;
    int bytes = 0;
    QByteArray exactBytes;

    QString text;

    /** Reads "NAME" or "NAME:KEY=VALUE,KEY=VALUE". */
    static std::optional<Fault> parse(const QString &text, QString *error);

    /** One line for each fault: its name, its keys and its effect. */
    static QStringList help();

    /** The keys of every fault, one line each. */
    static QStringList keyHelp();
};

/** The command that faults are compared with. */
struct FaultTarget
{
    quint16 word = 0;
    std::optional<quint8> chipType;
    std::optional<quint8> chipIndex;
    std::optional<int> block;
};

/** The faults of one device, with their remaining counts. */
class FaultTable
{
public:
    void add(const Fault &fault) { m_faults.append(fault); }
    void clear() { m_faults.clear(); }
    const QVector<Fault> &faults() const { return m_faults; }

    /** The faults that affect this command; decrements their counts. */
    QVector<Fault> take(const FaultTarget &target);

private:
    QVector<Fault> m_faults;
};

/** The fault of that kind among `faults`, or null. */
const Fault *findFault(const QVector<Fault> &faults, Fault::Kind kind);
