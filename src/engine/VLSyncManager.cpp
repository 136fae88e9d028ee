#include "VLSyncManager.h"

#include "TSLogger.h"
#include "VLNotificationCenter.h"
#include "VLPathComponent.h"
#include "VLPropertyList.h"
#include "VLDeviceCommandManager.h"
#include "VLFandeckDocumentCache.h"
#include "VLMatchExportFormat.h"
#include "VLSyncInfo.h"
#include "VLSyncManagerDeviceRelay.h"
#include "VLSyncManagerServiceRelay.h"

#include "VLDataFolder.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>

#include <algorithm>

const QString VLSyncManagerSyncStatusChangedNotification = QStringLiteral("VLSyncManagerSyncStatusChangedNotification");

// The header names the format without its enumerators: an export's default is the zero value.
static_assert(VLMatchExportFormat{} == VLMatchExportFormat::CxF3);

namespace {

// One manager per serial number for the life of the process.
QHash<QString, VLSyncManager *> &deviceSerialManagerMap()
{
    static QHash<QString, VLSyncManager *> map;
    return map;
}

} // namespace

VLSyncManager *VLSyncManager::syncManagerWithDevice(const KDDevicePtr &device)
{
    const QString serial = device ? device->serialNumber() : QString();
    if (serial.isEmpty()) {
        VL_LOG("+[VLSyncManager syncManagerForDevice:] - device with nil serialNumber passed in");
        return nullptr;
    }
    // The serial number names the device's folder: a device that reports something else than one
    // plain name gets no manager rather than a folder outside the devices folder.
    if (!vlIsPlainPathComponent(serial)) {
        VL_LOG("+[VLSyncManager syncManagerForDevice:] - device with unusable serialNumber '%@'", serial);
        return nullptr;
    }
    VLSyncManager *&manager = deviceSerialManagerMap()[serial];
    if (!manager)
        manager = new VLSyncManager(serial, device);
    return manager;
}

QStringList VLSyncManager::storedSerialNumbers()
{
    // Read without creating anything: a look at what is stored leaves no folder behind.
    const QFileInfoList folders = QDir(vlApplicationDataFolder() + QStringLiteral("/Devices"))
                                      .entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
    QList<std::pair<QDateTime, QString>> stored;
    for (const QFileInfo &folder : folders) {
        const QFileInfo defaults(folder.filePath() + QStringLiteral("/defaults.plist"));
        if (defaults.isFile() && vlIsPlainPathComponent(folder.fileName()))
            stored.append({defaults.lastModified(), folder.fileName()});
    }
    std::sort(stored.begin(), stored.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    QStringList serials;
    for (const auto &[modified, serial] : stored)
        serials << serial;
    return serials;
}

VLSyncManager *VLSyncManager::syncManagerWithStoredSerialNumber(const QString &serialNumber)
{
    if (!storedSerialNumbers().contains(serialNumber))
        return nullptr;
    VLSyncManager *&manager = deviceSerialManagerMap()[serialNumber];
    if (!manager)
        manager = new VLSyncManager(serialNumber, KDDevicePtr());
    if (!manager->m_device)
        manager->loadStoredState();
    return manager;
}

void VLSyncManager::loadStoredState()
{
    registerDefaults();
    if (!m_syncInfo)
        m_syncInfo = new VLSyncInfo(this);
    m_syncInfo->setLocalFiles(localFilesInFolder(pathForGlobalFandecksFolder(), QStringLiteral("payload.cxf")));
    m_syncInfo->setWebServiceFiles(webServiceCacheFiles());
}

VLSyncManager::VLSyncManager(const QString &serialNumber, const KDDevicePtr &device)
    : m_serialNumber(serialNumber)
    , m_device(device)
    , m_run(std::make_shared<VLSyncRun>(false, 0))
    , m_serviceRelay(std::make_unique<VLSyncManagerServiceRelay>(*this))
    , m_deviceRelay(std::make_unique<VLSyncManagerDeviceRelay>(*this))
{
    m_fandeckDocuments = std::make_unique<VLFandeckDocumentCache>();
    // Managers live as long as the process, and a program that quits in the middle of a run does
    // not end the run: a fandeck parse still going on a worker must not outlive the event loop.
    if (QCoreApplication *application = QCoreApplication::instance())
        connect(application, &QCoreApplication::aboutToQuit, this, [this] { finishExportsForQuit(); });
}

VLSyncManager::~VLSyncManager()
{
    m_statusMessage.clear();
    stopFandeckPrefetch();
    delete m_downloadManager.data();
    m_delegate = nullptr;
    m_memoryFandecks.clear();
    m_deviceFileIDToMemoryFandeckMap.clear();
    // The relays go before the children they answer for: nothing may call them any more.
    if (m_syncSession)
        m_syncSession->setDelegate(nullptr);
    if (m_commandManager)
        m_commandManager->setDelegate(nullptr);
    if (m_deviceFileDownload)
        m_deviceFileDownload->setDelegate(nullptr);
}

VLDeviceCommandManager *VLSyncManager::commandManager() const
{
    return m_commandManager.data();
}

void VLSyncManager::updateDevice(const KDDevicePtr &device)
{
    m_device = device;
    dispatchKVC();
}

void VLSyncManager::deviceBecameAvailable()
{
    setStatusMessage(QString());
    setStatus(VLSyncManagerStatusIdle);
    if (m_syncInfo)
        m_syncInfo->deleteLater();
    m_syncInfo = new VLSyncInfo(this);
    registerDefaults();
    delete m_downloadManager.data();
    m_downloadManager = new VLFileDownloadManager;
    m_downloadManager->setParent(this);
    m_downloadManager->setDelegate(m_serviceRelay.get());
    delete m_commandManager.data();
    m_commandManager = new VLDeviceCommandManager(m_device, this);
    m_commandManager->setDelegate(m_deviceRelay.get());
    m_errors = QList<VLError>();
    dispatchKVC();
}

void VLSyncManager::deviceBecameUnavailable()
{
    if (isInSync() || m_isJustGatheringPreliminaryInfo)
        setIsCancellingSync(true);
    m_device.reset();
    setStatusMessage(QString());
    if (m_syncInfo) {
        m_syncInfo->deleteLater(); // views may still hold it until the event loop turns
        m_syncInfo = nullptr;
    }
    m_status = VLSyncManagerStatusIdle;
    m_defaults.reset();
    if (m_downloadManager) {
        m_downloadManager->cancel();
        m_downloadManager->deleteLater();
        m_downloadManager = nullptr;
    }
    if (m_commandManager) {
        m_commandManager->cancel();
        m_commandManager->deleteLater();
        m_commandManager = nullptr;
    }
    if (m_deviceFileDownload) {
        m_deviceFileDownload->setDelegate(nullptr);
        m_deviceFileDownload->cancel();
        m_deviceFileDownload.reset();
    }
    if (m_syncSession) {
        m_syncSession->cancel();
        m_syncSession->setDelegate(nullptr); // its transfer's own late cancellation is not news
        m_syncSession->deleteLater();
        m_syncSession = nullptr;
    }
    m_isJustGatheringPreliminaryInfo = false;
    m_errors.reset();
    dispatchKVC();
    if (m_isCancellingSync)
        cancelSync();
}

void VLSyncManager::setStatus(qint32 status)
{
    if (status == m_status)
        return;
    m_status = status;
    dispatchKVC();
    VLNotificationCenter::defaultCenter()->postNotification(VLSyncManagerSyncStatusChangedNotification, this);
    if (m_delegate)
        m_delegate->syncManagerStatusDidChange(this);
}

void VLSyncManager::setStatusMessage(const QString &message)
{
    static const QString cancelling = tr("Cancelling sync...");
    const QString &shown = m_isCancellingSync ? cancelling : message;
    // The same string object stored again is no change; an equal text in another object is.
    if (shown.constData() == m_statusMessage.constData() && shown.size() == m_statusMessage.size())
        return;
    m_statusMessage = shown;
    VLNotificationCenter::defaultCenter()->postNotification(VLSyncManagerSyncStatusChangedNotification, this);
    if (m_delegate)
        m_delegate->syncManagerStatusDidChange(this);
}

void VLSyncManager::setIsCancellingSync(bool cancelling)
{
    VL_LOG("------------> setIsCancellingSync: %d", cancelling);
    if (cancelling == m_isCancellingSync)
        return;
    if (cancelling)
        VL_LOG("Cancel has begun...");
    m_isCancellingSync = cancelling;
    dispatchKVC();
}

void VLSyncManager::setIsJustGatheringPreliminaryInfo(bool gathering)
{
    if (gathering == m_isJustGatheringPreliminaryInfo)
        return;
    m_isJustGatheringPreliminaryInfo = gathering;
    dispatchKVC();
}

void VLSyncManager::dispatchKVC()
{
    static const QStringList keys{
        QStringLiteral("canChangeDefaults"), QStringLiteral("canStartSync"), QStringLiteral("isInSync"),
        QStringLiteral("syncSelectedFandecksOnly"), QStringLiteral("autoSyncOnDeviceConnection"),
        QStringLiteral("lastSyncDate"), QStringLiteral("lastSyncDateString"), QStringLiteral("isCancellingSync"),
    };
    for (const QString &key : keys)
        willChangeValueForKey(key);
    for (auto it = keys.crbegin(); it != keys.crend(); ++it)
        didChangeValueForKey(*it);
}

bool VLSyncManager::isInSync() const
{
    return m_status > VLSyncManagerStatusIdle;
}

bool VLSyncManager::canStartSync() const
{
    return !isInSync() && !m_isJustGatheringPreliminaryInfo && m_device && m_device->isAvailable()
        && m_device->isConnected() && !m_isCancellingSync;
}

bool VLSyncManager::canChangeDefaults() const
{
    return canStartSync();
}

bool VLSyncManager::canStartPreliminaryDataGathering() const
{
    return canStartSync();
}

bool VLSyncManager::hasOpenSession() const
{
    return m_syncSession && m_syncSession->isSessionOpen();
}

void VLSyncManager::syncWebServiceCacheWithFiles(const VLSyncFileList &files)
{
    const QString path = pathForDeviceWebServiceCache();
    QFile::remove(path);
    // Every later offline sync reads it whole: a list past the bound is not kept.
    if (files.size() > kMaximumCachedServiceFiles) {
        VL_LOG("The service's list of %lld files is not cached (more than %lld)", qint64(files.size()),
               qint64(kMaximumCachedServiceFiles));
        return;
    }
    QVariantList infos;
    infos.reserve(files.size());
    for (const VLSyncFileInfoPtr &file : files)
        infos.append(file->info());
    // A copy of the service's list, written again by every sync that reaches the service.
    VLPropertyList::writeXml(path, infos, nullptr, VLPropertyList::Durability::Replaceable);
}

void VLSyncManager::updateSyncInfoWithWebserviceCache(const VLSyncFileList &files)
{
    if (m_syncInfo)
        m_syncInfo->setWebServiceFiles(files);
}

// ---- session delegate ----

void VLSyncManager::syncSessionDidOpenSession(VLSyncSession *)
{
    VL_LOG("[VLSyncManager syncSessionDidOpenSession:]");
    if (m_status != VLSyncManagerStatusOpeningSessionWithCloud && !m_isCancellingSync) {
        VL_LOG("status is wrong for current sync state");
        return;
    }
    runNextSyncStep();
}

void VLSyncManager::syncSessionDidFailToOpenWithError(VLSyncSession *, const VLError &error)
{
    VL_LOG("[VLSyncManager syncSession:didFailToOpenWithError:]");
    syncDidReceiveErrorRunNextStep(error, true);
}

void VLSyncManager::networkConnectionError()
{
    endRun(VLSyncRunReport::Ending::Failed);
    setIsJustGatheringPreliminaryInfo(false);
    setStatus(VLSyncManagerStatusIdle);
    m_wasCancelled = false;
    setIsCancellingSync(false);
    setStatusMessage(QString());
    m_run->needsRebootAfterSync = false;
    if (m_errors)
        m_errors->clear();
    if (m_delegate)
        m_delegate->networkConnectionError();
}

void VLSyncManager::syncSessionDidCloseSession(VLSyncSession *)
{
    VL_LOG("[VLSyncManager syncSessionDidCloseSession:]");
}

void VLSyncManager::syncSessionDidFinishRequest(VLSyncSession *, VLSyncSessionRequestType)
{
}

void VLSyncManager::syncSessionDidReceiveAllFiles(VLSyncSession *, const VLSyncFileList &files)
{
    VL_LOG("[VLSyncManager syncSession:didReceiveAllFiles:]");
    if (m_status == VLSyncManagerStatusQueryCloudFandecks) {
        syncWebServiceCacheWithFiles(files);
        updateSyncInfoWithWebserviceCache(files);
        runNextSyncStep();
    } else if (!m_isCancellingSync) {
        VL_LOG("status is wrong for current sync state");
    } else {
        runNextSyncStep();
    }
}

void VLSyncManager::syncSessionAllFilesRequestsDidFailWithError(VLSyncSession *, const VLError &error)
{
    VL_LOG("allFilesRequestsDidFailWithError");
    if (m_status == VLSyncManagerStatusQueryCloudFandecks)
        syncDidReceiveErrorRunNextStep(error, true);
    else if (!m_isCancellingSync)
        VL_LOG("status is wrong for current sync state");
    else
        runNextSyncStep();
}

void VLSyncManager::syncSessionRequestDidFailWithError(VLSyncSession *, int requestType, const VLError &error)
{
    VL_LOG("[VLSyncManager syncSession:request:didFailWithError:] - %d", requestType);
    VL_LOG("---------------- THIS SHOULD NOT HAPPEN -------------------");
    syncDidReceiveErrorRunNextStep(error, true);
}
