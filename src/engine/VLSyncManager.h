#pragma once

#include "VLError.h"
#include "VLFileTrust.h"
#include "VLObservable.h"
#include "VLSyncFileInfo.h"
#include "VLSyncManagerDelegate.h"
#include "VLSyncInfo.h"
#include "VLSyncManagerStatus.h"
#include "VLSyncPlan.h"
#include "VLSyncLock.h"
#include "VLSyncRun.h"
#include "VLSyncRunReport.h"

#include "KDDevice.h"
#include "VLFileDownload.h"
#include "VLFileDownloadManager.h"
#include "VLSyncSession.h"

#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QList>
#include <QMutex>
#include <QPointer>
#include <QSharedPointer>
#include <QVariantMap>
#include <QWaitCondition>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

class HBColorDocument;
class VLFandeckDocumentCache;
class VLDeviceCommandManager;
struct VLDeviceSettings;
struct VLMatchRecord;
enum class VLMatchExportFormat;
class VLSyncManagerDeviceRelay;
class VLSyncManagerServiceRelay;
class VLSyncInfo;

extern const QString VLSyncManagerSyncStatusChangedNotification;

// The one coordinator of everything done for one device, found by serial number. It carries a sync
// through its steps, one asynchronous operation at a time, on the main thread. Its groups of
// operations live beside the subsystem they drive: VLSyncManagerSteps.cpp, ...Paths.cpp,
// ...Defaults.cpp (engine), ...Download.cpp (webservice), ...Device.cpp, ...DeviceFiles.cpp
// (device) and ...Fandecks.cpp (export).
// The session, the queues and the downloads answer the manager through relays (one per subsystem,
// VLSyncManagerServiceRelay and VLSyncManagerDeviceRelay), which pass an answer on only while the
// run that asked for it is under way.
class VLSyncManager : public VLObservable
{
    Q_OBJECT
    friend class VLSyncManagerServiceRelay;
    friend class VLSyncManagerDeviceRelay;

public:
    // ---- core ----
    static VLSyncManager *syncManagerWithDevice(const KDDevicePtr &device);
    // What this computer keeps of devices synced before, with none of them connected: the serial
    // numbers that have stored settings, the one whose settings changed last first; and the
    // manager of one of them with those settings and the inventory stored on the computer (its
    // fandecks and the service's last list) loaded, or none when nothing is stored for it.
    static QStringList storedSerialNumbers();
    static VLSyncManager *syncManagerWithStoredSerialNumber(const QString &serialNumber);
    QString serialNumber() const { return m_serialNumber; }
    ~VLSyncManager() override;

    void updateDevice(const KDDevicePtr &device);
    void deviceBecameAvailable();
    void deviceBecameUnavailable();

    KDDevicePtr device() const { return m_device; }
    VLSyncInfo *syncInfo() const { return m_syncInfo.data(); }
    VLSyncSession *syncSession() const { return m_syncSession.data(); }
    VLFileDownloadManager *downloadManager() const { return m_downloadManager.data(); }
    VLDeviceCommandManager *commandManager() const;
    QList<VLError> errors() const { return m_errors ? *m_errors : QList<VLError>(); }
    bool hasErrorList() const { return m_errors.has_value(); }
    QVariantMap defaults() const { return m_defaults.value_or(QVariantMap()); }
    bool hasDefaults() const { return m_defaults.has_value(); }

    VLSyncManagerDelegate *delegate() const { return m_delegate; }
    void setDelegate(VLSyncManagerDelegate *delegate) { m_delegate = delegate; }

    qint32 status() const { return m_status; }
    void setStatus(qint32 status);
    QString statusMessage() const { return m_statusMessage; }
    void setStatusMessage(const QString &message);
    bool isCancellingSync() const { return m_isCancellingSync; }
    void setIsCancellingSync(bool cancelling);
    bool isJustGatheringPreliminaryInfo() const { return m_isJustGatheringPreliminaryInfo; }
    void setIsJustGatheringPreliminaryInfo(bool gathering);
    bool wasCancelled() const { return m_wasCancelled; }
    QString lastSyncedDeviceSerialNumber() const { return m_lastSyncedDeviceSerialNumber; }
    void setLastSyncedDeviceSerialNumber(const QString &serial) { m_lastSyncedDeviceSerialNumber = serial; }
    bool needsRebootAfterSync() const { return m_run->needsRebootAfterSync; }
    // What the current run has done so far, or, between runs, what the last run did. Complete by
    // the time the delegate hears of the end of a run.
    const VLSyncRunReport &runReport() const { return m_run->report; }
    // The stall watchdog stopped the run: its report says so.
    void runDidStall();
    qint64 stepLevel() const { return m_stepLevel; }

    bool isInSync() const;
    bool canStartSync() const;
    bool canChangeDefaults() const;
    bool canStartPreliminaryDataGathering() const;
    bool hasOpenSession() const;

    void syncWebServiceCacheWithFiles(const VLSyncFileList &files);
    // What a full sync started now would do, from the inventory of the last run; with
    // `selectedOnly`, as it would with that setting.
    VLSyncPlan syncPlan(std::optional<bool> selectedOnly = std::nullopt);
    void updateSyncInfoWithWebserviceCache(const VLSyncFileList &files);

    // ---- Steps ----
    void startSync();
    void gatherPrelimiaryInfo();
    void runNextSyncStep(QObject *ignored = nullptr);
    void runCurrentStep(QObject *ignored = nullptr);
    void cancelSync();
    void stopSyncSmoothly();
    void syncDidReceiveErrorRunNextStep(const VLError &error, bool runNextStep);

    // Every asynchronous operation carries the token of the step that started it; while its
    // completion runs, the machine moves on only if that step is still the one under way. Another
    // step, or the end of the run, makes a late completion harmless.
    using StepToken = VLSyncRun::Step;
    StepToken operationStepToken() const { return m_completingStepToken.value_or(m_run->step()); }
    void completeOperation(StepToken token, const std::function<void()> &completion);

    // ---- Paths ----
    QString pathForGlobalAppSupportFolder() const;
    QString pathForGlobalDevicesFolder() const;
    QString pathForDeviceCacheFolder() const;
    QString pathForDeviceDefaults() const;
    QString pathForDeviceWebServiceCache() const;
    // The copy of the service's list: at most this many files are kept in it, and a copy larger
    // than this is not read (about 2 KB a file as a property list).
    static constexpr qsizetype kMaximumCachedServiceFiles = 10000;
    static constexpr qint64 kMaximumServiceCacheBytes = 32 * 1024 * 1024;
    QString pathForGlobalAutoSyncMatchesFolder() const;
    QString pathForGlobalAutoSyncMatchesAudioFolder() const;
    QString pathForGlobalAutoSyncMatchesFile() const;
    QString pathForGlobalDownloadsFolder() const;
    QString pathForGlobalFandecksFolder() const;
    QString pathForGlobalFilesFolder() const;

    // ---- Defaults ----
    void registerDefaults();
    bool synchronizeDefaults();
    bool autoSyncOnDeviceConnection() const;
    void setAutoSyncOnDeviceConnection(bool on);
    bool syncSelectedFandecksOnly() const;
    void setSyncSelectedFandecksOnly(bool on);
    // Whether files the service did not sign are refused; one setting of the user's, for every device.
    static bool requireSignedFiles();
    static bool setRequireSignedFiles(bool on, VLError *error);
    QDateTime lastSyncDate() const;
    void setLastSyncDate(const QDateTime &date);
    QString lastSyncDateString() const;
    QImage displayImage() const;
    void setDisplayImage(const QImage &image);
    bool userWantsSyncForFandeckWithID(const QString &fandeckID);
    void setUserWantsSyncForFandeckWithID(bool wanted, const QString &fandeckID);

    // ---- session delegate ----
    void syncSessionDidOpenSession(VLSyncSession *session);
    void syncSessionDidFailToOpenWithError(VLSyncSession *session, const VLError &error);
    void syncSessionDidCloseSession(VLSyncSession *session);
    void syncSessionDidFinishRequest(VLSyncSession *session, VLSyncSessionRequestType requestType);
    void networkConnectionError();
    void syncSessionDidReceiveAllFiles(VLSyncSession *session, const VLSyncFileList &files);
    void syncSessionAllFilesRequestsDidFailWithError(VLSyncSession *session, const VLError &error);
    void syncSessionRequestDidFailWithError(VLSyncSession *session, int requestType, const VLError &error);

    // ---- Download: fandecks from the service into the local store ----
    void downloadNeededFandecks();
    bool verifyAndinstallDownloadedFandeckWithInfoDownloadPathError(const VLSyncFileInfoPtr &file,
                                                                    const QString &downloadPath, VLError *error);
    void downloadManagerDidBeginAllDownloads(VLFileDownloadManager *manager);
    void downloadManagerDidBeginDownload(VLFileDownloadManager *manager, VLFileDownload *download);
    void downloadManagerDownloadDidUpdate(VLFileDownloadManager *manager, VLFileDownload *download);
    void downloadManagerDidFinishDownload(VLFileDownloadManager *manager, VLFileDownload *download);
    void downloadManagerDownloadDidFailWithError(VLFileDownloadManager *manager, VLFileDownload *download,
                                                 const VLError &error);
    void downloadManagerDidCompleteAllDownloads(VLFileDownloadManager *manager);

    // ---- Device: answers to the step machine's commands, the command queue, fandecks, clock ----
    void beginSyncDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void syncImageDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void endSyncDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void receivedFilesForDeviceDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    // The entries of the device's encoded file inventory ("GetFiles"); an empty list for anything
    // but an array of dictionaries, whose other elements are passed over.
    static VLSyncFileList deviceFilesFromInventoryData(const QByteArray &bytes);
    void receivedMeasurementsForDeviceDidReceiveResponse(const KDDevicePtr &device,
                                                         const KDCommandResponsePtr &response);
    void receivedRebootDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void clockWasSetForDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void updateDeviceClock();
    void updateDeviceFandecks();
    void enableAllDeviceFandecks();
    void commandManagerWillSendCommand(VLDeviceCommandManager *manager, const KDCommandPtr &command);
    void commandManagerDidReceiveResponse(VLDeviceCommandManager *manager, const KDCommandResponsePtr &response);
    void commandManagerDidCompleteAllCommands(VLDeviceCommandManager *manager);
    QList<KDMeasurementPtr> latestMatches() const { return m_run->latestMatches; }
    VLSyncFileList fandecksToEnableAfterReboot() const { return m_run->fandecksToEnableAfterReboot; }

    // ---- DeviceFiles: bootloader, firmware, images, sounds, matrix and settings ----
    void updateBootloaderIfNeccessary();
    void updateFirmwareIfNeccessary();
    void updateWallpaperImageIfNeccessary();
    void updateDeviceSettingsIfNeeded();
    void updateWelcomeImageIfNeccessary();
    void updateStartSoundIfNeccessary();
    void updateEndSoundIfNeccessary();
    void updateMulticolorSoundIfNeccessary();
    void updateInversionMatrixIfNeccessary();
    void installDeviceFile(const VLSyncFileInfoPtr &file);
    void installDeviceFileForDeviceDidReceiveResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void installDeviceSettingsFile(const VLSyncFileInfoPtr &file);
    void deviceSettingsWereSetForDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void preferedFandeckWasSetForDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    bool verifyAndInstallDeviceFileWithInfoDownloadPathError(const VLSyncFileInfoPtr &file,
                                                             const QString &downloadPath, VLError *error);
    void fileDownloadDidBegin(VLFileDownload *download);
    void fileDownloadDidFinish(VLFileDownload *download);
    void fileDownloadDidFailWithError(VLFileDownload *download, const VLError &error);
    void fileDownloadWasRefused(VLFileDownload *download, const VLError &error);
    void downloadManagerDownloadWasRefused(VLFileDownloadManager *, VLFileDownload *download, const VLError &error);
    void fileDownloadProgressDidUpdate(VLFileDownload *download);
    QString storedDeviceFileIDToSetAsPrefered() const { return m_run->storedDeviceFileIDToSetAsPrefered; }

    // ---- Fandecks: loading fandecks and exporting matches ----
    struct VLExportParameters
    {
        QList<KDMeasurementPtr> matches;
        QString path;
        bool inSync = false;
        // The document is CxF3 unless the user chose another format for their export; the other
        // formats are written from the same matches, as records.
        VLMatchExportFormat format{}; // VLMatchExportFormat::CxF3, its first
    };
    void loadFandecksIntoMemory();
    void runExportMatchStep();
    // Answers the matches it exported, in order, as records.
    QList<VLMatchRecord> exportMatches(const VLExportParameters &parameters);
    // On a worker thread: loads the installed fandecks, then runs exportMatches on the main thread
    // and waits for it; answers what that exported. Exports that overlap take turns.
    QList<VLMatchRecord> loadFandecksAndExportMatches(const VLExportParameters &parameters);
    // Tells whoever keeps the captures (vlSetMatchesReadHandler) what an export read and wrote.
    void handOutMatchesRead(const QList<KDMeasurementPtr> &matches, const QList<VLMatchRecord> &records, bool inSync);
    QList<QSharedPointer<HBColorDocument>> memoryFandecks() const { return m_memoryFandecks; }
    // Lets go of the documents the last load left in memory, unless a run or an export may still
    // read them; answers whether it did. Every export loads its fandecks afresh, so all this costs
    // is the next export's parse of the files.
    bool releaseLoadedFandecks();
    // For a program that quits: exports stop loading at the next fandeck and write nothing, and this
    // returns once no export worker uses the manager any more. A worker already waiting for the main
    // thread to write what it loaded is served first. Main thread.
    void finishExportsForQuit();

private:
    using ResponseMethod = void (VLSyncManager::*)(const KDDevicePtr &, const KDCommandResponsePtr &);
    void sendDeviceCommand(const QString &name, ResponseMethod method);
    void sendDeviceCommand(const KDCommandPtr &command, ResponseMethod method);
    void reportResponseError(const KDCommandResponsePtr &response, bool runNextStep);
    // Runs `completion` as the step that set `source` going, while the current run knows it, and
    // answers whether it did: an answer the run does not know (it has ended, or it is not this
    // run's) is let go. A source that answers once (a command) is forgotten as it answers.
    bool completeOperationOf(const void *source, bool answersOnce, const std::function<void()> &completion);
    void startCommandQueue(const QList<KDCommandPtr> &commands);
    void ignoreAnswerFromEndedRun(const KDCommandResponsePtr &response);
    static VLSyncRunReport::File uploadedFileOfCommand(const KDCommandPtr &command);
    void beginRun(bool preliminary);
    void replaceRun(bool preliminary);
    void endRun(VLSyncRunReport::Ending ending);
    // The report of the run under way; none once it has ended, when nothing more is recorded.
    VLSyncRunReport *reportOfRunUnderWay() { return m_run->hasEnded() ? nullptr : &m_run->report; }
    // A run of the device in another process refuses this one before it touches anything.
    bool refusedByAnotherProcess(bool preliminary);
    void runFirstStep();
    KDCommandPtr uploadCommandForFile(const VLSyncFileInfoPtr &file, const QString &payloadPath) const;
    void updateDeviceFileIfNeccessary(const char *logName, const QString &statusMessage,
                                      const VLSyncFileList &offered, bool newAvailable);
    QString packageFolderForFile(const VLSyncFileInfoPtr &file, const QString &storeFolder) const;
    VLDeviceSettings deviceSettingsOfFile(const VLSyncFileInfoPtr &file) const;
    QString preferredDeviceFileIDOfSettings(const VLDeviceSettings &settings) const;
    VLSyncFileInfoPtr deviceSettingsToApplyAgain() const;
    void recordAppliedDeviceSettings(bool confirmed);
    VLSyncFileList disabledDeviceFandecksToEnable();
    // Null when the stored payload may go to the device; otherwise the package is removed, so the
    // next sync fetches it again.
    VLError verifyStoredPayloadForUpload(const VLSyncFileInfoPtr &file, const QString &payloadPath);
    bool installPackage(const VLSyncFileInfoPtr &file, const QString &downloadPath, const QString &storeFolder,
                        const QString &payloadName, const QString &infoWriteFailure, VLError *error,
                        const std::function<VLError(const QString &)> &contentError = {});

    struct FandeckSnapshot
    {
        VLSyncFileList localFandecks;
        QHash<QString, QString> deviceFileIDByFileID;
        // Ids the device gave fandecks before they were removed or uploaded again: captures made
        // then still name them.
        QMultiHash<QString, QString> formerDeviceFileIDsByFileID;
    };
    // Keeps, in the stored defaults, which fandeck each device id of the inventory stands for.
    void rememberDeviceFandeckIdentities();
    QMultiHash<QString, QString> rememberedDeviceFileIDsByFileID() const;
    FandeckSnapshot fandeckSnapshot() const;
    void loadFandecksIntoMemoryWithDecks(const VLSyncFileList &decks, const FandeckSnapshot &snapshot);
    void loadFandecksThenExportThenRun(const QList<KDMeasurementPtr> &matches, StepToken step,
                                       const std::shared_ptr<VLSyncRun> &run);
    static VLSyncFileInfoPtr fileInfoOfDownload(const VLFileDownload *download);

    VLSyncManager(const QString &serialNumber, const KDDevicePtr &device);
    void loadStoredState();
    void dispatchKVC();
    QString localizedStatus(const char *englishText) const;
    VLSyncFileList localFilesInFolder(const QString &folder, const QString &payloadName) const;
    VLSyncFileList webServiceCacheFiles() const;

    // The serial number the manager was created for; it names the device's folder even while the
    // device is away.
    QString m_serialNumber;

    // Fields, in the order the coordinator declares them.
    KDDevicePtr m_device;
    VLFileTrust m_fileTrust; // the keys and the policy, read again when a run begins
    VLSyncLock m_syncLock;   // held from a run's first step to its end
    QPointer<VLSyncSession> m_syncSession;
    std::optional<QList<VLError>> m_errors;
    std::optional<QVariantMap> m_defaults;
    QPointer<VLFileDownloadManager> m_downloadManager;
    QPointer<VLDeviceCommandManager> m_commandManager;
    QPointer<VLSyncInfo> m_syncInfo;
    QList<QSharedPointer<HBColorDocument>> m_memoryFandecks;
    QHash<QString, QSharedPointer<HBColorDocument>> m_deviceFileIDToMemoryFandeckMap;
    QMutex m_memoryFandecksLock; // held by an export from loading the fandecks until it has used them
    // The documents parsed from the installed fandecks, for this load and the next: filled ahead by
    // a prefetch while the device is updated, for the export step that follows. The prefetch is
    // stopped when the run ends, so it never outlives the run (nor the process's libraries at exit).
    std::unique_ptr<VLFandeckDocumentCache> m_fandeckDocuments;
    // Export workers that have entered the manager, so that quitting can wait for them.
    QMutex m_exportsLock;
    QWaitCondition m_exportsChanged;
    int m_exportsRunning = 0;
    std::atomic<bool> m_quitting{false};
    // Receives the export workers' calls to the main thread (the inventory copy, the writing) and
    // nothing else: quitting delivers those alone.
    mutable QObject m_exportCalls;
    void prefetchFandecksForExport();
    void stopFandeckPrefetch();
    VLFileDownloadPtr m_deviceFileDownload; // the device file being fetched by an update step
    // The run under way, or the last one until the next begins; never null.
    std::shared_ptr<VLSyncRun> m_run;
    std::optional<StepToken> m_completingStepToken; // while a completion or a step runs: its step
    std::unique_ptr<VLSyncManagerServiceRelay> m_serviceRelay;
    std::unique_ptr<VLSyncManagerDeviceRelay> m_deviceRelay;
    qint64 m_stepLevel = 0;
    bool m_wasCancelled = false;
    bool m_isJustGatheringPreliminaryInfo = false;
    bool m_isCancellingSync = false;
    qint32 m_status = VLSyncManagerStatusIdle;
    QString m_lastSyncedDeviceSerialNumber;
    VLSyncManagerDelegate *m_delegate = nullptr;
    QString m_statusMessage;
};
