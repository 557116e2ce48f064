// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetArchive.h"
#include "netupgrade/NetBlockReceiver.h"
#include "platform/Platform.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <functional>

namespace netupgrade {
class NetInstallJob;
class NetResumeJob;
struct NetResumeEvent;
} // namespace netupgrade

/**
 * Lets the network module be upgraded like any MCU: takes Enter F/W Update Mode and write-block
 * frames for chip type 0x20, answers each, writes the archive, and installs it after the last
 * block. It belongs to the main thread; the shell commands run on a separate thread.
 */
class NetModelUpgrade : public QObject
{
    Q_OBJECT

public:
    explicit NetModelUpgrade(QObject *parent = nullptr,
                             const platform::Platform &platform = platform::Platform());
    ~NetModelUpgrade() override;

    /** `runActive` returns whether the upgrade engine runs; while it does, no frame is accepted,
     *  since both write the same archive and the reboot would interrupt the engine. */
    void setRunActive(std::function<bool()> runActive) { m_runActive = std::move(runActive); }

    /** `started` is called when all blocks have arrived and the install begins, `ended` when it has
     *  failed or the module is about to reboot. */
    void setInstallReport(std::function<void(const QString &version)> started,
                          std::function<void(bool succeeded)> ended);

    /** Completes an install that a power cut has interrupted, if there is one. `report` is called
     *  from the event loop; there is no signal about it, since no client has asked for it. */
    void resume(const std::function<void(const netupgrade::NetResumeEvent &event)> &report);

    /** True from the start of an install until it has failed or the module reboots, and while an
     *  interrupted install is completed. */
    bool isInstalling() const { return m_installing; }

    /** The sender has seen the module restart: acknowledges the last block, which has no other
     *  answer, and reports to the sender that no upgrade is in progress. Does nothing while the
     *  commands of an install run. */
    void noticeUpgradingFalse();

    /** Takes any piece of the sender's byte stream. */
    Q_SLOT void slotReceiveData(const QByteArray &datas);

signals:
    /** Bytes for the sender: an answer frame or one of the two notices. */
    void signalResponse(const QByteArray &datas);
    /** One line, or a keyed list, about the install. */
    void message(const QStringList &message);
    /** Percent of the install in `bytesSent`; `bytesTotal` is 100. */
    void slotProgressValueChanged(double bytesSent, double bytesTotal);

private:
    void handle(const netupgrade::NetBlockAction &action);
    void store(const netupgrade::NetBlockAction &action);
    void finish(const netupgrade::NetBlockAction &action);
    void reply(quint16 word, quint8 status);
    void respond(const QByteArray &datas);
    void openGate();
    void install(const package::NetImage &header);
    void onInstallDone(bool succeeded, const QString &lastLine);
    void onResumeDone(bool reboots);
    void reboot();
    void endInstalling();

    platform::Platform m_platform;
    std::function<bool()> m_runActive;
    std::function<void(const QString &version)> m_installStarted;
    std::function<void(bool succeeded)> m_installEnded;
    netupgrade::NetBlockReceiver m_receiver;
    netupgrade::NetArchive m_archive;
    QTimer m_gateTimer;
    QElapsedTimer m_sinceLastByte;
    QPointer<netupgrade::NetInstallJob> m_job;
    QPointer<netupgrade::NetResumeJob> m_resume;
    bool m_installing = false;
};
