// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/RunClaim.h"
#include "engine/RunEvents.h"
#include "engine/RunPackage.h"
#include "engine/RunReporter.h"
#include "engine/SequencerTable.h"
#include "netupgrade/NetArchive.h"
#include "package/MatchMask.h"
#include "package/NetImage.h"
#include "package/PackageCheckCache.h"
#include "planning/ProductCommand.h"
#include "planning/TypeAndIndexTable.h"
#include "planning/UpgradeMode.h"
#include "platform/Platform.h"
#include "protocol/FrameAssembler.h"
#include "protocol/Reply.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class CoreCOMQ;
class CoreTelnet;
class CoreUpload;
class ByteSource;
struct ImageRecord;
struct NetMergePlan;
struct NetReport;
struct PackageDescription;
struct ProductRecord;

/** Makes the engine's device links; tests hand in links of their own. */
struct LinkFactory
{
    LinkFactory();

    std::function<CoreCOMQ *(QObject *parent)> serial;
    std::function<CoreTelnet *(QObject *parent)> network;
};

/**
 * The upgrade engine. Lives on a thread of its own; every slot and timer runs there. The few
 * operations that the console calls directly from the main thread are marked so; what they share
 * with the engine is behind one mutex or atomic.
 *
 * Everything it has to tell goes out through message(): a list of one element is a log line, a
 * longer one starts with its key.
 */
class ControlCenter : public QObject
{
    Q_OBJECT

public:
    explicit ControlCenter(const Platform &platform = Platform(),
                           const LinkFactory &links = LinkFactory(), QObject *parent = nullptr);
    ~ControlCenter() override;

    // Called from the main thread, too.

    /** There is to be no usable link until the next successful open. */
    void requestDisconnect() { m_linkDown = true; }
    /** Decides what is refused and which lists are quiet. The receiver of the engine's reports
     *  gives the claim back, by the end that runEvents() announces. */
    RunClaim &runClaim() { return m_claim; }
    double uploadPercent() const;
    void resetUploadPercent();
    /**
     * The package's description as it is stored, or an error text. Says what it finds on
     * message() and keeps the firmware list, model and version; while a run is claimed it does
     * nothing but return the text.
     */
    Q_INVOKABLE QString getMergeFWJSON(QString fileName);

    /** True when a network module image bears the right MD5; keeps its version. */
    Q_INVOKABLE bool checkNetFirmware(QString filePath);

    /** Checks a package's checksum: 1 missing, 2 unreadable, 3 matches, 4 does not match. A missing
     *  or unreadable file is reported as a failed run. */
    int checkFWMmd5(const QString &fileName);
    QStringList getFWInfoByChipType(int chipType) const;
    /** A field of a row; an empty text outside the table. */
    QString getTypeAndIndex(int line, int index) const;
    void setTypeAndIndex(int line, int index, const QString &value);

    Q_INVOKABLE void checkUpgradeFlag();
    /** The 0x7903 payload for one row; empty, and a line said, when the description has none. */
    QByteArray getCommandOfProductInformation(int currentLineIndex);

    /** An upgrade or a single-file write is in flight. For the engine's own thread. */
    bool runActive() const { return m_runActive; }
    /** Where the run stands, for tests and diagnostics. */
    int currentStep() const { return m_step; }
    bool timersIdle() const;
    /** What those who watch over the agent learn. */
    const RunEvents *runEvents() const { return m_events; }

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
    /** Sends the extended status frame; from then on the device may send its NET image. */
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
    friend struct SequencerActions;

    enum class Link { None, Serial, Network };
    enum class ReceiveMode { None = 0, Binary = 1, Text = 2, Extended = 3 };
    enum class UploadType { None = 0, File = 1, Memory = 2 };
    enum class Use {
        /** For the console: reports and keeps. */
        List,
        /** For a run's own plan: keeps without a word. */
        Plan,
        /** For the console while a run is claimed: returns the text and touches nothing. */
        TextOnly,
    };
    /** What the console thread may replace while the engine reads it. */
    struct Package
    {
        QStringList firmwareList;
        QString model;
        QString version;
        QString json;
    };

    // Messages and the end of runs (ControlCenter.cpp)
    void say(const QString &line);
    /** A list of the command chain; a product-information read puts its key in front. */
    void sayInChain(QStringList list);
    void sayInChain(const QString &line) { sayInChain(QStringList{line}); }
    void endRun();
    void finishRun(const QString &status);
    void failRun(const QString &status, double progress);
    void gaveUp(const QString &what);
    void reportFailure(const QString &status, double progress);
    void failStep();
    void failLost();
    void reportRowResult(const QString &result);
    void markAllRowsFailed();
    void keepRunAlive();
    bool refusesDuringRun(const char *request) const;

    // The table of rows, shared with the main thread
    int mcuIndex() const;
    void setMcuIndex(int line);
    int rowCount() const;
    bool hasCurrentRow() const;
    QString currentRow() const;
    QStringList currentFields() const;
    /** With the version of the list's entry that decided, if any. */
    RunMcu currentMcu(int entry = -1) const;
    QString currentName() const;
    bool currentIsMainMcu() const;
    bool currentIsFpga() const;
    bool currentNamesChip() const;
    int currentNumber(int index) const;
    void setCurrent(int index, const QString &value);
    Package package() const;

    // Command frames
    bool transmit(const QByteArray &frame);
    bool writeToLink(const QByteArray &frame);
    void sendChipCommand(quint16 word);
    void expectReply(ReceiveMode mode);

    // Response parser
    void takeBytes(const QByteArray &datas);
    void takeFrame(const QByteArray &frame);
    bool isLateAnswer(const Reply &reply) const;
    void takeText(const QByteArray &datas);
    void backData(const QString &line);

    // Link management
    void openSerialLink();
    void adoptLink(Link kind);
    void makeNetworkLink();
    static Link configuredLink();
    bool linkIsOpen() const;

    // Sequencer
    void happened(Event event);
    void restartCommandTimer();
    bool writesInfo() const;
    QString stepName() const;
    void reportTrouble(const Transition &line, const QString &name, const QString &text);

    // Sequencer actions
    void sendModelNameRead();
    void takeModelName();
    void takeBootcode();
    void refuseInvalidProductInfo();
    void giveUpBootcode();
    void takeProductInfo();
    void giveUpProductInfo();
    void stopForMainMcu(const char *words);
    void takeMainRecord(const ProductRecord &record);
    void startMainMcuFirst();
    void resumeReads();
    void nextMcu();
    void takeVersion();
    void giveUpVersion();
    void versionsDone();
    void sendVirtualVersionRead();
    void startBootcodeReads();
    void giveUpVirtualVersion();
    void waitOn();
    void pollProductId();
    void mainMcuIsBack();
    void sendReboot();
    void awaitSystem();
    void systemIsBack();
    void takeVirtualVersionSet();

    // Product-information writes
    void writeInfoAfterRun();
    void startInfoWrites(QStringList rows);
    void sendProductRecord(const QByteArray &payload);
    void takeInfoWritten();
    void giveUpInfoWrite();
    void reportInfoWrite(const QString &result);
    void infoWritesDone();

    // Package reading
    PackageCheck checkListed(FileSource &file, const QString &path);
    void reportUnopened(PackageCheck check);
    QString loadPackage(FileSource &file, PackageCheck check, Use use);
    QString loadHead(ByteSource &source, Use use);
    QString loadDescription(const PackageDescription &description, Use use);
    void sayToList(Use use, const QString &line);
    void keepPackage(const Package &package);
    bool packageStartsRun(PackageCheck check);
    bool packageStopsRun();
    std::optional<ImageRecord> findImage();
    bool packageIsUpgradable();
    bool checksumStopsRun(PackageCheck check);
    bool refusePackage(const char *text);

    // Package building
    bool mergeNet(const QString &packagePath, const QString &netPath, const QString &newPath,
                  const QString &newVersion);
    bool writeNet(const NetMergePlan &plan, ByteSource &package, ByteSource &net,
                  const QString &newPath);
    void sayNet(const QString &text);

    // Planning
    void resetRun(int upgradeModel);
    void startMode(int upgradeModel);
    void checkOneItem();
    void skipItem();
    void nextItem();
    void skipFailedItem();
    void skipped(const char *why, int entry = -1);
    void upgradeCurrentItem(int entry);

    // The network module's own firmware
    NetReport netReport();
    void upgradeNetFromPackage(const ImageRecord &record);
    void failNet(double progress);
    void reportNetEnd(double progress, const QString &rowResult);
    void takeExtendedFrame(const Reply &frame);
    void takeNetBlock(const Reply &frame);
    void installQuietly();

    // Image transfer
    bool writeMultBoard(quint8 mcuType, quint8 chipIndex, const QByteArray &image);
    void startWrite(quint8 mcuType, quint8 chipIndex);
    void enterUpdateMode();
    void takeEnterReply(const Reply &reply);
    void retryEnter();
    void failEnter();
    void failWrite();
    void giveUpImage();
    void finishImage();
    void handOverImage();
    void repeatsBlock(const QStringList &words);

    Platform m_platform;
    LinkFactory m_links;
    mcu::FrameAddress m_address;
    RunEvents *m_events = new RunEvents(this);
    RunReporter m_report;

    CoreCOMQ *m_serial = nullptr;
    CoreTelnet *m_network = nullptr;
    CoreUpload *m_upload = nullptr;
    QTimer *m_uploadTimer = nullptr;
    QTimer *m_commandTimer = nullptr;
    QTimer *m_runGuard = nullptr;

    Link m_link = Link::None;
    QString m_portName;
    QString m_baudRate;

    FrameAssembler m_assembler;
    ReceiveMode m_receiveMode = ReceiveMode::None;
    QString m_textAccumulator;
    Reply m_reply{QByteArray()};

    int m_step = 0;
    int m_retryCount = 0;
    int m_operationKind = 1;
    bool m_checkAgain = false;
    bool m_checkingVersions = false;

    MatchMask m_mask;
    QStringList m_productInfos;
    QJsonDocument m_infoDescription;
    int m_productInfoIndex = 0;
    /** The main MCU has its turn before all others; the reads of the rows after it wait. */
    bool m_mainMcuFirst = false;
    /** The row that had this turn in the run; -1 when none had. */
    int m_mainFirstRow = -1;
    bool m_imageWritten = false;
    NetImage m_netHeader;
    std::unique_ptr<NetArchive> m_netArchive;

    RunPackage m_runPackage;
    QByteArray m_image;
    QString m_imageFileName;
    UploadType m_uploadType = UploadType::None;
    quint8 m_mcuType = 0;
    quint8 m_chipIndex = 0;
    int m_enterRetries = 0;
    int m_writeRetries = 0;

    std::atomic<bool> m_linkDown{true};
    RunClaim m_claim;
    /** The claim of what is in flight: an upgrade, a write or a read. */
    RunClaim::Number m_run = RunClaim::none;
    bool m_runActive = false;
    /** A product-information read runs: its lists carry a key of their own. */
    std::atomic<bool> m_reading{false};
    mutable std::mutex m_mutex;
    TypeAndIndexTable m_TypeAndIndexs;
    int m_mcuIndex = 0;
    bool m_erasingShown = false;
    Package m_package;
    PackageCheckCache m_packageChecks;
    QString m_netMajor;
    QString m_netMinor;
};
