// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"
#include "engine/ControlCenter.h"
#include "links/CoreCOMQ.h"

#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <optional>

/** A serial link to a simulated device in the same process. */
class FakeCOMQ : public CoreCOMQ
{
    Q_OBJECT

public:
    FakeCOMQ(SimulatedDevice &device, QObject *parent) : CoreCOMQ(parent), m_device(device) {}

    bool open(const QString &portName, int baudRate, int dataBits, int stopBits,
              const QString &parity) override;
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }

    /** Closes the port; it cannot be opened again. */
    void unplug();
    void plugIn() { m_present = true; }
    /** Delivers bytes as if the device had sent them. */
    void receive(const QByteArray &bytes) { emit signalReceiveDatas(bytes); }

    /** Answers a frame instead of the device, chunk by chunk. */
    std::function<QList<QByteArray>(const QByteArray &frame)> answerInstead;
    /** Called before each write; true makes it fail. */
    std::function<bool(const QByteArray &frame)> failWrite;
    /** The answer of the device, in one chunk. */
    QByteArray deviceAnswer(const QByteArray &frame);

    /** Delivers everything that is due, and the replies to it. False when nothing was due. */
    bool deliverDue();

    QList<QByteArray> sent;
    QString openedWith;

protected:
    qint64 writeBytes(const char *bytes, qint64 length) override;

private:
    void post(const QByteArray &bytes);
    void deliverNext();
    void deliver(const QByteArray &bytes);

    SimulatedDevice &m_device;
    QList<QByteArray> m_due;
    bool m_present = true;
    bool m_open = false;
};

/** The real engine over a simulated device, with times scaled to milliseconds. */
class EngineHarness : public QObject
{
    Q_OBJECT

public:
    explicit EngineHarness(const DeviceDescription &description,
                           const std::optional<platform::Shell> &shell = std::nullopt,
                           const std::optional<platform::TimeOuts> &timeOuts = std::nullopt);

    static DeviceDescription twoMcus();
    static platform::Platform scaledPlatform(const QString &dir);
    /** The same times, and the shortest possible run guard. */
    static platform::TimeOuts withShortGuard();

    const platform::Platform &platform() const { return m_platform; }
    /** The limits of the next engine. */
    platform::Limits &limits() { return m_platform.limits; }
    platform::Pauses &pauses() { return m_platform.pauses; }
    /** Replaces the engine in its current state by a new one for the same device. */
    void restartEngine();

    void setPackage(const QByteArray &bytes);
    /** Adds a fault as the device's options spell it. */
    void addFault(const QString &text);
    QString packagePath() const { return m_platform.paths.package; }

    /** Opens the serial port, with nothing recorded of it. */
    void connectPort();
    /** Opens the serial port and starts a run. */
    void start(const QStringList &rows, int mode);
    /** Starts a run and waits for its end; the transcript is in `lines`. */
    bool run(const QStringList &rows, int mode);
    /** Clears the recorded lines and frames. */
    void clear();
    /** Waits until the engine is idle. */
    bool waitForEnd(int milliseconds = 20'000);
    /** The command words of all frames sent, in hexadecimal; a block is followed by its number. */
    QStringList sentWords() const;
    /** One frame's word in that form. */
    static QString wordOf(const QByteArray &frame);
    QString sentText() const { return sentWords().join(' '); }
    /** The number of sent frames of one command. */
    int count(const char *word) const { return sentWords().count(word); }
    /** The lines that contain `part`. */
    QStringList with(const char *part) const { return lines.filter(part); }
    bool succeeded() const { return lines.endsWith("APPSTATUS|6"); }
    QString progressText() const;
    /** The result field of each row, in the rows' order. */
    QString results(int rows) const;

    SimulatedDevice device;
    FakeCOMQ *link = nullptr;
    std::unique_ptr<ControlCenter> engine;
    /** Every message list, joined with "|". */
    QStringList lines;
    QList<double> progress;

protected:
    /** No time-out expires while an answer is due, even if the machine was busy for long: so the
     *  order of events depends on the test, and never on its speed. */
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QTemporaryDir m_dir;
    platform::Platform m_platform;
};

/** Compares two transcripts and, where they differ, shows both side by side. */
bool sameTranscript(const QStringList &actual, const QStringList &expected);
