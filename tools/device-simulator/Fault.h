// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <chrono>
#include <optional>

/** What a device does wrong, and when. */
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
    /** Which commands it meets; absent means any. */
    std::optional<quint16> word;
    std::optional<quint8> chipType;
    std::optional<quint8> chipIndex;
    std::optional<int> block;
    /** How many matching commands pass unharmed first. */
    int skip = 0;
    /** How many it then meets. */
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

    /** One line for each fault: its name, its own keys and what it does. */
    static QStringList help();

    /** The keys that every fault takes, one line each. */
    static QStringList keyHelp();
};

/** What a fault is matched against. */
struct FaultTarget
{
    quint16 word = 0;
    std::optional<quint8> chipType;
    std::optional<quint8> chipIndex;
    std::optional<int> block;
};

/** The faults of one device, with what is left of their counts. */
class FaultTable
{
public:
    void add(const Fault &fault) { m_faults.append(fault); }
    void clear() { m_faults.clear(); }
    const QVector<Fault> &faults() const { return m_faults; }

    /** The faults that meet this command. Each of them loses one of its count. */
    QVector<Fault> take(const FaultTarget &target);

private:
    QVector<Fault> m_faults;
};

/** The fault of that kind among `faults`, or null. */
const Fault *findFault(const QVector<Fault> &faults, Fault::Kind kind);
