// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/runs/RunClaim.h"
#include "links/EngineRequests.h"
#include "platform/Platform.h"

#include <QObject>
#include <QStringList>

namespace engine {
class RunEvents;
} // namespace engine

class ControlCenter;
class QThread;

/**
 * The console's only access to the upgrade engine: creates the engine and its thread, turns calls
 * into queued signals and forwards the engine's reports. Every method is called from the main
 * thread, and requests reach the engine in order.
 */
class WorkerCOM : public QObject, public links::EngineRequests
{
    Q_OBJECT

public:
    explicit WorkerCOM(QObject *parent = nullptr,
                       const platform::Platform &platform = platform::Platform());
    ~WorkerCOM() override;

    Q_INVOKABLE QList<QString> getSerialPorts();
    /** The four connect and write requests always return false: a message reports their result. */
    Q_INVOKABLE bool onConnect(QString port) override;
    Q_INVOKABLE bool onConnectWithBandrate(QString port, QString bandrate);
    Q_INVOKABLE bool autoConnect(QString port);
    Q_INVOKABLE void disconnected() override;
    Q_INVOKABLE void getVersion();
    Q_INVOKABLE void mergeFW(QString fileName, QString jsonData);
    Q_INVOKABLE QString getMergeFWJSON(QString fileName) override;
    QString getMergeFWJSONForUpgrade(const QString &fileName) override;
    Q_INVOKABLE void uploadByMergeFW(QString fileName, QStringList TypeAndIndex,
                                     int upgradeModel) override;
    Q_INVOKABLE void setProductInfo(QStringList TypeAndIndex);
    Q_INVOKABLE void getProductInfo();
    Q_INVOKABLE bool writeMultBoard(uchar mcuType, uchar mcuIndex, QString filename);
    Q_INVOKABLE double getPercent();
    Q_INVOKABLE void setPercent();
    Q_INVOKABLE void sendData(int CMD);
    Q_INVOKABLE bool checkNetFirmware(QString fileName);
    Q_INVOKABLE void mergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM,
                                      QString newVersion);

    void connectNet(const QString &IP, int port) override;
    bool runActive() const override;
    /** The engine's thread and its events, for the operations log and the service manager. */
    QThread *engineThread() const { return m_thread; }
    const engine::RunEvents *runEvents() const;

signals:
    void message(QStringList message);
    void signalConnect(QString port);
    void signalConnectWithBandrate(QString port, QString in_bandrate);
    void signalAutoConnect(QString port);
    void signalmergeFW(QString fileName, QString jsonData);
    void signaluploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel);
    void signalsetProductInfo(QStringList TypeAndIndex);
    void signalgetProductInfo();
    void signaldisconnected();
    void signalGetVersion();
    void signalWriteMultBoard(uchar mcuType, uchar mcuIndex, QString filename);
    void progressValueChanged(double bytesSent, double bytesTotal);
    void send(int CMD);
    void signalConnectNet(QString IP, int port);
    void netconnected();
    void signalmergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM, QString newVersion);

private:
    void connectReports();
    void connectRequests();
    void deliver(const QStringList &list);

    ControlCenter *m_engine;
    QThread *m_thread;
    /** The run whose status is delivered next. */
    engine::RunClaim::Number m_ending = engine::RunClaim::none;
};
