// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/device/DeviceLinks.h"
#include "engine/report/RunEvents.h"
#include "platform/Platform.h"

#include <QObject>
#include <QStringList>

#include <memory>

namespace engine {
struct EngineParts;
} // namespace engine

/**
 * The upgrade engine. It has its own thread, on which every slot and timer runs. The few
 * operations that the console calls directly from the main thread are marked.
 *
 * All reports are sent through message(): a list of one element is a log line, a longer one starts
 * with its key. This class is the engine's interface; the work is done by its parts, see
 * EngineParts.h.
 */
class ControlCenter : public QObject
{
    Q_OBJECT

public:
    explicit ControlCenter(const platform::Platform &platform = platform::Platform(),
                           const engine::LinkFactory &links = engine::LinkFactory(),
                           QObject *parent = nullptr);
    ~ControlCenter() override;

    // Called from the main thread, too.

    /** Makes the link unusable until the next successful open. */
    void requestDisconnect();
    /** Decides which requests are refused and which lists are quiet. The receiver of the engine's
     *  messages releases the claim, at the end that runEvents() announces. */
    engine::RunClaim &runClaim();
    double uploadPercent() const;
    void resetUploadPercent();
    /**
     * The package's description as it is stored, or an error text. Reports the result through
     * message() and keeps the firmware list, model and version; while a run is claimed it only
     * returns the text.
     */
    Q_INVOKABLE QString getMergeFWJSON(QString fileName);
    /** The same for an upgrade of everything in the package: empty when the package is not signed
     * by an installed key, which is reported as a failed run. */
    QString getMergeFWJSONForUpgrade(const QString &fileName);

    /** True when the MD5 of a network module image is correct. */
    Q_INVOKABLE bool checkNetFirmware(QString filePath);

    /** Checks a package's checksum: 1 missing, 2 unreadable, 3 matches, 4 does not match. A missing
     *  or unreadable file is reported as a failed run. */
    int checkFWMmd5(const QString &fileName);
    QStringList getFWInfoByChipType(int chipType) const;
    /** A field of a row; an empty text outside the table. */
    QString getTypeAndIndex(int line, int index) const;
    void setTypeAndIndex(int line, int index, const QString &value);

    Q_INVOKABLE void checkUpgradeFlag();
    /** The 0x7903 payload for one row; empty, with a message, when the description has none. */
    QByteArray getCommandOfProductInformation(int currentLineIndex);

    /** An upgrade or a single-file write is in progress. Engine thread only. */
    bool runActive() const;
    /** The current step, for tests and diagnostics. */
    int currentStep() const;
    bool timersIdle() const;
    /** The events for the operations log and the service manager. */
    const engine::RunEvents *runEvents() const { return m_events; }

signals:
    void signalCMDResultStr(int cmd, QList<int> result);
    void message(QStringList message);
    void signalCMDResult(int cmd, int result);
    void progressValueChanged(double bytesSent, double bytesTotal);
    void netconnected();
    void netdisconnected();

public slots:
    // Command frames
    void send(int wCMD);
    void sendWriteStr(int wCMD, int nDataCnt, QList<int> cExDataStr);
    bool write(char *m_cSendBuftemp, size_t length);
    /** Sends the extended status frame; after it the device may send its NET image. */
    void sendAppStatus(int wCMD, quint8 status);

    // Response parser
    void slotReceiveDatas(QByteArray datas);

    // Link management
    void slotConnect(QString port);
    void slotConnectWithBandrate(QString port, QString bandrate);
    void slotAutoConnect(QString port);
    void connectNet(QString IP, int port);
    void disconnected();
    void slotGetVersion();

    // Product information
    void getProductInfo();
    void readBootCodeInfo();
    void readProductInfo();
    void readVersionInfo();
    void setVirtualVersion();
    void setProductInfo(QStringList TypeAndIndex);
    void writeProductInformation();
    void convertAllProductInfo();

    // Planning
    void uploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel);
    void checkVersion();

    // Package building
    void mergeFW(QString fileName, QString jsonData);
    void mergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM, QString newVersion);

    // Image transfer
    bool slotWriteMultBoard(uchar mcuType, uchar mcuIndex, QString filename);
    void slotProgressValueChanged(double bytesSent, double bytesTotal);
    void slotMessage(QStringList messageIn);

private slots:
    void onTimeOutSendUploadCommand();
    void onTimeOutSendOtherCommand();
    void onRunGuardExpired();
    void onChunk(const QByteArray &datas);

private:
    void connectParts();
    bool refusesDuringRun(const char *request) const;
    void beginRun();

    engine::RunEvents *m_events;
    std::unique_ptr<engine::EngineParts> m_parts;
};
