// SPDX-License-Identifier: Apache-2.0
#include "links/WorkerCOM.h"

#include "engine/ControlCenter.h"
#include "engine/report/EngineTexts.h"
#include "links/CoreCOMQ.h"
#include "platform/Log.h"

#include <QThread>

#include <utility>

using engine::RunClaim;
using engine::RunEvents;
using platform::logLink;
using platform::Platform;

WorkerCOM::WorkerCOM(QObject *parent, const Platform &platform)
    : QObject(parent), m_engine(new ControlCenter(platform)), m_thread(new QThread)
{
    m_engine->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, m_thread, &QThread::deleteLater);
    connectReports();
    connectRequests();
    m_thread->start();
}

/** The engine is not deleted: it lives as long as the process. */
WorkerCOM::~WorkerCOM()
{
    m_thread->quit();
    m_thread->wait();
}

void WorkerCOM::connectReports()
{
    connect(m_engine, &ControlCenter::message, this, &WorkerCOM::deliver);
    connect(m_engine->runEvents(), &RunEvents::ending, this,
            [this](RunClaim::Number run) { m_ending = run; });
    connect(m_engine->runEvents(), &RunEvents::over, this,
            [this](RunClaim::Number run) { m_engine->runClaim().release(run); });
    connect(m_engine, &ControlCenter::progressValueChanged, this, &WorkerCOM::progressValueChanged);
    connect(m_engine, &ControlCenter::netconnected, this, &WorkerCOM::netconnected);
}

/** A run's claim is released together with its status: if earlier, another run could be accepted
 *  and then ended by that status; if later, a client that has read it could still be refused. */
void WorkerCOM::deliver(const QStringList &list)
{
    emit message(list);
    if (list.value(0) == QLatin1String(protocol::key::appStatus))
        m_engine->runClaim().release(std::exchange(m_ending, RunClaim::none));
}

void WorkerCOM::connectRequests()
{
    using Engine = ControlCenter;
    connect(this, &WorkerCOM::signalConnect, m_engine, &Engine::slotConnect);
    connect(this, &WorkerCOM::signalConnectWithBandrate, m_engine,
            &Engine::slotConnectWithBandrate);
    connect(this, &WorkerCOM::signalAutoConnect, m_engine, &Engine::slotAutoConnect);
    connect(this, &WorkerCOM::signalGetVersion, m_engine, &Engine::slotGetVersion);
    connect(this, &WorkerCOM::signalWriteMultBoard, m_engine, &Engine::slotWriteMultBoard);
    connect(this, &WorkerCOM::signalmergeFW, m_engine, &Engine::mergeFW);
    connect(this, &WorkerCOM::signaluploadByMergeFW, m_engine, &Engine::uploadByMergeFW);
    connect(this, &WorkerCOM::signalsetProductInfo, m_engine, &Engine::setProductInfo);
    connect(this, &WorkerCOM::signalgetProductInfo, m_engine, &Engine::getProductInfo);
    connect(this, &WorkerCOM::signalConnectNet, m_engine, &Engine::connectNet);
    connect(this, &WorkerCOM::signaldisconnected, m_engine, &Engine::disconnected);
    connect(this, &WorkerCOM::send, m_engine, &Engine::send);
    connect(this, &WorkerCOM::signalmergeNetFirmware, m_engine, &Engine::mergeNetFirmware);
}

QList<QString> WorkerCOM::getSerialPorts()
{
    return CoreCOMQ::listPorts();
}

bool WorkerCOM::onConnect(QString port)
{
    emit signalConnect(port);
    return false;
}

bool WorkerCOM::onConnectWithBandrate(QString port, QString bandrate)
{
    emit signalConnectWithBandrate(port, bandrate);
    return false;
}

bool WorkerCOM::autoConnect(QString port)
{
    emit signalAutoConnect(port);
    return false;
}

void WorkerCOM::disconnected()
{
    qCDebug(logLink) << "WorkerCOMdisconnected";
    m_engine->requestDisconnect();
    emit signaldisconnected();
}

void WorkerCOM::getVersion()
{
    emit signalGetVersion();
}

void WorkerCOM::mergeFW(QString fileName, QString jsonData)
{
    emit signalmergeFW(fileName, jsonData);
}

QString WorkerCOM::getMergeFWJSON(QString fileName)
{
    return m_engine->getMergeFWJSON(fileName);
}

QString WorkerCOM::getMergeFWJSONForUpgrade(const QString &fileName)
{
    return m_engine->getMergeFWJSONForUpgrade(fileName);
}

/** Claims the run before the engine has received it, so that two requests of one read cannot both
 *  be accepted. */
void WorkerCOM::uploadByMergeFW(QString fileName, QStringList TypeAndIndex, int upgradeModel)
{
    m_engine->runClaim().take();
    emit signaluploadByMergeFW(fileName, TypeAndIndex, upgradeModel);
}

void WorkerCOM::setProductInfo(QStringList TypeAndIndex)
{
    emit signalsetProductInfo(TypeAndIndex);
}

void WorkerCOM::getProductInfo()
{
    emit signalgetProductInfo();
}

bool WorkerCOM::writeMultBoard(uchar mcuType, uchar mcuIndex, QString filename)
{
    emit signalWriteMultBoard(mcuType, mcuIndex, filename);
    return false;
}

double WorkerCOM::getPercent()
{
    return m_engine->uploadPercent();
}

void WorkerCOM::setPercent()
{
    m_engine->resetUploadPercent();
}

void WorkerCOM::sendData(int CMD)
{
    emit send(CMD);
}

void WorkerCOM::connectNet(const QString &IP, int port)
{
    emit signalConnectNet(IP, port);
}

bool WorkerCOM::checkNetFirmware(QString fileName)
{
    return m_engine->checkNetFirmware(fileName);
}

void WorkerCOM::mergeNetFirmware(QString fpFWM, QString fpBIN, QString newfpFWM, QString newVersion)
{
    emit signalmergeNetFirmware(fpFWM, fpBIN, newfpFWM, newVersion);
}

const RunEvents *WorkerCOM::runEvents() const
{
    return m_engine->runEvents();
}

bool WorkerCOM::runActive() const
{
    return m_engine->runClaim().isHeld();
}
