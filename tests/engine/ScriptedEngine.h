// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/EngineHarness.h"
#include "support/RecordingShell.h"
#include "support/TransferWitness.h"
#include "support/VirtualTime.h"

/**
 * The real engine on virtual time, with a simulated device whose answers are sent only when the
 * script requests them. It aborts when the engine breaks one of its guarantees: no image is
 * reported as written unless every block was acknowledged, and every run ends with a status.
 */
class ScriptedEngine
{
public:
    ScriptedEngine();

    // The console's side. A run is refused while another is active, as the console does.
    void upgrade(int package, int mode, const QStringList &rows);
    void writeFile(int chipType);
    void listPackage();
    ControlCenter &engine() { return *m_harness.engine; }

    // The line's side
    void deliver(const QByteArray &bytes);
    /** Delivers the next answer of the device, if any, after `change` has modified it. */
    template<typename Change>
    bool answer(Change change)
    {
        if (m_due.isEmpty())
            return false;
        deliver(change(m_due.takeFirst()));
        return true;
    }
    void loseAnswers() { m_due.clear(); }
    /** The word of the last sent command. */
    quint16 lastWord() const { return m_lastWord; }
    void failWrites(int count) { m_failures = count; }
    void unplug() { m_harness.link->unplug(); }
    void plugIn();

    /** Repeats: delivers an answer of the device or, if there is none, advances the time. */
    void carryOn(int steps);
    void advance(std::chrono::milliseconds time);
    /** From now on no answer arrives; an active run must end. */
    void endInSilence();

    static int packageCount();

private:
    void hear(const QStringList &list);
    void hearResult(const QString &row, const QString &result);
    void hearStatus(const QString &status);
    bool claimIsTrue(const QString &row);
    void check();

    RecordingShell m_shell;
    EngineHarness m_harness;
    TransferWitness m_witness;
    QList<QByteArray> m_due;
    quint16 m_lastWord = 0;
    int m_failures = 0;
    int m_mode = 0;
    /** The image of a single file; empty while a package is written. */
    QByteArray m_fileImage;
    int m_installs = 0;
    bool m_owesStatus = false;
};
