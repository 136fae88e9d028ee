#include "VLSyncManager.h"

#include "HBColorDocument.h"
#include "HBColorimetry.h"
#include "TSLogger.h"
#include "TX350CustomResource.h"
#include "VLMatchRecordWriter.h"
#include "VLMatchesRead.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"
#include "VLSecondsSince1970.h"
#include "VLSyncInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QScopeGuard>
#include <QThread>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <thread>
#include <vector>

namespace {

const QString kColorInfo = QStringLiteral("ColorInfo");

// The seven measurement conditions every exported representation carries: 45/0 annular geometry,
// D65, 10 degree observer, M2, ASTM E308 Table 6.
void setExportConditions(const HBColorRepresentationPtr &representation)
{
    representation->setAttribute(HBIlluminantD65, HBColorRepIlluminantAttributeKey);
    representation->setAttribute(1, HBColorRepObserverTypeAttributeKey);
    representation->setAttribute(QStringLiteral("Annular"), HBColorRepGeometrySingleAngleConfigurationAttributeKey);
    representation->setAttribute(45, HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey);
    representation->setAttribute(0, HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey);
    representation->setAttribute(2, HBColorRepMeasurementTypeAttributeKey);
    representation->setAttribute(HBTristimulusConvertionMethodE308Table6,
                                  HBColorRepTristimulusSpectralConvertionMethodAttributeKey);
}

// What tells one version of a file from another without reading it: size, modification time to
// the nanosecond, and the inode (a file replaced by a rename is another file).
struct FileIdentity
{
    qint64 size = -1;
    qint64 modified = 0;
    quint64 inode = 0;
};

FileIdentity fileIdentity(const QString &path)
{
    struct stat status{};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return {qint64(status.st_size), qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec,
            quint64(status.st_ino)};
}

void insertIfPresent(QVariantMap &entry, const QString &key, const QVariant &value)
{
    if (value.isValid() && !value.isNull())
        entry.insert(key, value);
}

// The record the other export formats are written from: what the CxF3 colour carries, plus the
// fandeck colour's spectrum (the CxF3 export carries CIELAB only) and sRGB for display.
VLMatchRecord matchRecord(const HBColorDocument &fandeck, const HBColor &fandeckColor,
                          const HBColorRepresentation &lab, const QVariant &textTag, const QDateTime &date,
                          const QString &audioFileName, const QString &deviceFileID, const QString &colorID)
{
    VLMatchRecord record;
    record.colorName = fandeckColor.attributeForKey(HBColorNameAttributeKey).toString();
    record.colorNumber = fandeckColor.attributeForKey(HBColorNumberAttributeKey).toString();
    for (const QString &key : {CXF3FandeckCustomResourceNameKey, CXF3FandeckCustomResourceEditionKey}) {
        record.fandeck = fandeck.attributeForKey(key).toString();
        if (!record.fandeck.isEmpty())
            break;
    }
    if (record.fandeck.isEmpty())
        record.fandeck = deviceFileID;
    record.L = lab.L();
    record.a = lab.a();
    record.b = lab.b();
    const HBRGB8 rgb = hbLabToSRGB8({lab.L(), lab.a(), lab.b()}, HBObserverTypeCIE1964TenDegree);
    record.red = rgb.r;
    record.green = rgb.g;
    record.blue = rgb.b;
    record.textTag = textTag.toString();
    record.captureDate = date;
    if (!audioFileName.isEmpty())
        record.audioNotePath = QStringLiteral("Audio/") + audioFileName;
    record.deviceFileID = deviceFileID;
    record.colorID = colorID;
    const QList<HBColorRepresentationPtr> spectra = fandeckColor.representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    if (!spectra.isEmpty()) {
        record.spectrum = spectra.last()->values();
        record.spectrumStart = spectra.last()->startWavelength();
        record.spectrumIncrement = spectra.last()->wavelengthIncrement();
    }
    return record;
}

} // namespace

struct VLSyncManager::FandeckPrefetch
{
    struct Parsed
    {
        FileIdentity identity;
        HBColorDocumentPtr document;
    };
    std::mutex lock;
    std::condition_variable finishedChanged;
    bool finished = false;
    std::atomic<bool> abandoned{false}; // the run ended: stop at the next document
    QHash<QString, Parsed> parsed; // by path
};

void VLSyncManager::prefetchFandecksForExport()
{
    // Only worth it when the export step will load them: there are matches to export. The
    // documents are parsed as the load would parse them and handed to it untouched, so the
    // export reads exactly what it would have read; it only no longer waits for the parse.
    stopFandeckPrefetch();
    if (m_latestMatches.isEmpty() || !m_syncInfo)
        return;
    QStringList paths;
    const QString fandecksFolder = pathForGlobalFandecksFolder();
    for (const VLSyncFileInfoPtr &record : m_syncInfo->localFandecks()) {
        if (vlIsPlainPathComponent(record->SKU()))
            paths << fandecksFolder + QLatin1Char('/') + record->SKU() + QStringLiteral("/payload.cxf");
    }
    auto prefetch = std::make_shared<FandeckPrefetch>();
    {
        std::lock_guard locker(m_fandeckPrefetchLock);
        m_fandeckPrefetch = prefetch;
    }
    m_fandeckPrefetchRunning = prefetch;
    m_fandeckPrefetchWorker = std::thread([prefetch, paths] {
        for (const QString &path : paths) {
            if (prefetch->abandoned)
                break;
            const FileIdentity identity = fileIdentity(path);
            HBColorDocumentPtr document = HBColorDocument::initWithFile(path, nullptr, nullptr);
            std::lock_guard locker(prefetch->lock);
            if (document)
                prefetch->parsed.insert(path, {identity, document});
        }
        std::lock_guard locker(prefetch->lock);
        prefetch->finished = true;
        prefetch->finishedChanged.notify_all();
    });
}

void VLSyncManager::stopFandeckPrefetch()
{
    {
        std::lock_guard locker(m_fandeckPrefetchLock);
        m_fandeckPrefetch.reset();
    }
    // A load already waiting on it gets what was parsed so far and opens the rest itself.
    if (m_fandeckPrefetchRunning)
        m_fandeckPrefetchRunning->abandoned = true;
    m_fandeckPrefetchRunning.reset();
    if (m_fandeckPrefetchWorker.joinable())
        m_fandeckPrefetchWorker.join();
}

VLSyncManager::FandeckSnapshot VLSyncManager::fandeckSnapshot() const
{
    // The inventory belongs to the main thread; a worker asks it for a copy.
    FandeckSnapshot snapshot;
    auto take = [this, &snapshot] {
        if (!m_syncInfo)
            return;
        snapshot.localFandecks = m_syncInfo->localFandecks();
        for (const VLSyncFileInfoPtr &deviceFandeck : m_syncInfo->deviceFandecks()) {
            if (!deviceFandeck->fileID().isNull() && !snapshot.deviceFileIDByFileID.contains(deviceFandeck->fileID()))
                snapshot.deviceFileIDByFileID.insert(deviceFandeck->fileID(), deviceFandeck->deviceFileID());
        }
    };
    if (QThread::currentThread() == thread())
        take();
    else
        QMetaObject::invokeMethod(&m_exportCalls, take, Qt::BlockingQueuedConnection);
    return snapshot;
}

void VLSyncManager::loadFandecksIntoMemory()
{
    m_memoryFandecks.clear();
    m_deviceFileIDToMemoryFandeckMap.clear();
    const FandeckSnapshot snapshot = fandeckSnapshot();
    loadFandecksIntoMemoryWithDecks(snapshot.localFandecks, snapshot);
}

void VLSyncManager::loadFandecksIntoMemoryWithDecks(const VLSyncFileList &decks, const FandeckSnapshot &snapshot)
{
    // Parsing is most of the time and each document is independent: parse on every core, then
    // take the results in the records' order, so the log, the list and the map read as if the
    // documents had been opened one after another.
    // A document already loaded from a file that has not changed since is taken as it is: the
    // manager holds it, and parsing is nearly all of an export's time.
    struct Opened
    {
        QString path;
        FileIdentity identity;
        HBColorDocumentPtr document;
        VLError error;
    };
    const QString fandecksFolder = pathForGlobalFandecksFolder();
    QList<Opened> opened(decks.size());
    const QHash<QString, LoadedFandeckSource> previous = std::exchange(m_loadedFandeckSources, {});
    // Documents parsed ahead for this load: waited for (parsing them twice would be slower) and
    // taken when their file is still the one they were read from.
    std::shared_ptr<FandeckPrefetch> prefetch;
    {
        std::lock_guard locker(m_fandeckPrefetchLock);
        prefetch = std::exchange(m_fandeckPrefetch, nullptr);
    }
    QHash<QString, FandeckPrefetch::Parsed> prefetched;
    if (prefetch) {
        std::unique_lock locker(prefetch->lock);
        prefetch->finishedChanged.wait(locker, [&] { return prefetch->finished; });
        prefetched = prefetch->parsed;
    }
    std::atomic<qsizetype> next{0};
    const auto open = [&] {
        for (qsizetype i = next++; i < decks.size() && !m_quitting; i = next++) {
            const VLSyncFileInfoPtr &record = decks.at(i);
            if (!vlIsPlainPathComponent(record->SKU()))
                continue;
            Opened &slot = opened[i];
            slot.path = fandecksFolder + QLatin1Char('/') + record->SKU() + QStringLiteral("/payload.cxf");
            slot.identity = fileIdentity(slot.path);
            const auto held = previous.constFind(slot.path);
            if (held != previous.constEnd() && slot.identity.size >= 0 && held->size == slot.identity.size
                && held->modified == slot.identity.modified && held->inode == slot.identity.inode) {
                slot.document = held->document;
                continue;
            }
            const auto ahead = prefetched.constFind(slot.path);
            if (ahead != prefetched.constEnd() && slot.identity.size >= 0 && ahead->identity.size == slot.identity.size
                && ahead->identity.modified == slot.identity.modified && ahead->identity.inode == slot.identity.inode) {
                slot.document = ahead->document;
                continue;
            }
            slot.document = HBColorDocument::initWithFile(slot.path, nullptr, &slot.error);
        }
    };
    std::vector<std::thread> helpers;
    const qsizetype helperCount = std::min<qsizetype>(QThread::idealThreadCount(), decks.size()) - 1;
    for (qsizetype i = 0; i < helperCount; ++i)
        helpers.emplace_back(open);
    open();
    for (std::thread &helper : helpers)
        helper.join();

    for (qsizetype i = 0; i < decks.size(); ++i) {
        const VLSyncFileInfoPtr &record = decks.at(i);
        if (!vlIsPlainPathComponent(record->SKU())) {
            VL_LOG("[VLSyncManager loadFandecksIntoMemory] - error: unusable SKU '%@'", record->SKU());
            continue;
        }
        const HBColorDocumentPtr &document = opened.at(i).document;
        if (!document) {
            VL_LOG("[VLSyncManager loadFandecksIntoMemory] - error: %@", opened.at(i).error);
            VL_LOG("%@", record);
            continue;
        }
        const FileIdentity &identity = opened.at(i).identity;
        m_loadedFandeckSources.insert(opened.at(i).path, {identity.size, identity.modified, identity.inode, document});
        for (const QString &key : {CXF3FandeckCustomResourceEditionKey, CXF3FandeckCustomResourceNameKey}) {
            const QString value = document->attributeForKey(key).toString();
            if (!value.isEmpty())
                m_deviceFileIDToMemoryFandeckMap.insert(value, document);
        }
        const QString deviceFileID = snapshot.deviceFileIDByFileID.value(record->fileID());
        if (!deviceFileID.isEmpty())
            m_deviceFileIDToMemoryFandeckMap.insert(deviceFileID, document);
        m_memoryFandecks.append(document);
    }
}

bool VLSyncManager::releaseLoadedFandecks()
{
    // A run's export step, or the documents parsed ahead for it, may be on their way.
    if (isInSync() || m_isJustGatheringPreliminaryInfo)
        return false;
    // An export holds the lock from its load until it has written what it read.
    if (!m_memoryFandecksLock.tryLock())
        return false;
    m_memoryFandecks.clear();
    m_deviceFileIDToMemoryFandeckMap.clear();
    m_loadedFandeckSources.clear();
    m_memoryFandecksLock.unlock();
    return true;
}

void VLSyncManager::runExportMatchStep()
{
    const QList<KDMeasurementPtr> matches = m_latestMatches;
    m_latestMatches.clear();
    if (matches.isEmpty()) {
        QFile::remove(pathForGlobalAutoSyncMatchesFile());
        runNextSyncStep();
        return;
    }
    const StepToken step = operationStepToken();
    QThread *worker = QThread::create([this, matches, step] { loadFandecksThenExportThenRun(matches, step); });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

void VLSyncManager::loadFandecksThenExportThenRun(const QList<KDMeasurementPtr> &matches, StepToken step)
{
    loadFandecksAndExportMatches({matches, pathForGlobalAutoSyncMatchesFile(), true});
    // A run cancelled while the worker loaded has already ended: it must not be advanced again.
    QMetaObject::invokeMethod(this, [this, step] { completeOperation(step, [this] { runNextSyncStep(); }); },
                              Qt::QueuedConnection);
}

VLMatchRecordList VLSyncManager::loadFandecksAndExportMatches(const VLExportParameters &parameters)
{
    {
        std::lock_guard locker(m_exportsLock);
        ++m_exportsRunning;
    }
    const auto left = qScopeGuard([this] {
        std::lock_guard locker(m_exportsLock);
        --m_exportsRunning;
        m_exportsChanged.notify_all();
    });
    VLMatchRecordList records;
    if (m_quitting)
        return records;
    // The user's export and the sync's export step each load into the same list and map: one at a
    // time, from the load until the export that reads them is done.
    QMutexLocker exporting(&m_memoryFandecksLock);
    loadFandecksIntoMemory();
    // A load cut short by quitting lacks fandecks: nothing is written rather than an export short
    // of their matches.
    if (m_quitting)
        return records;
    QMetaObject::invokeMethod(&m_exportCalls, [this, &parameters, &records] {
        records = exportMatches(parameters);
        handOutMatchesRead(parameters.matches, records, parameters.inSync);
    }, Qt::BlockingQueuedConnection);
    return records;
}

void VLSyncManager::handOutMatchesRead(const QList<KDMeasurementPtr> &matches, const VLMatchRecordList &records,
                                       bool inSync)
{
    // Without a serial number no capture can be told from another device's.
    if (!m_device || m_device->serialNumber().isEmpty())
        return;
    VLMatchesRead read{m_device->serialNumber(), {}, records, pathForGlobalAutoSyncMatchesAudioFolder(), inSync};
    for (const KDMeasurementPtr &match : matches) {
        const HBColorPtr color = match ? match->measurementColorForColorSpace(kColorInfo) : HBColorPtr();
        if (!color)
            continue;
        if (const auto key = vlCaptureKey(color->attributeForKey(QStringLiteral("DateSince1970")).toDouble(),
                                          color->attributeForKey(QStringLiteral("DeviceFileID")).toString(),
                                          color->attributeForKey(QStringLiteral("ColorId")).toString()))
            read.capturesOnDevice.append(*key);
    }
    vlMatchesWereRead(read);
}

void VLSyncManager::finishExportsForQuit()
{
    m_quitting = true;
    stopFandeckPrefetch();
    std::unique_lock locker(m_exportsLock);
    while (m_exportsRunning > 0) {
        locker.unlock();
        // The event loop is gone: a worker blocked on its call to the main thread is served here,
        // or it and this wait would wait for each other.
        QCoreApplication::sendPostedEvents(&m_exportCalls, QEvent::MetaCall);
        locker.lock();
        m_exportsChanged.wait_for(locker, std::chrono::milliseconds(5), [this] { return m_exportsRunning == 0; });
    }
}

VLMatchRecordList VLSyncManager::exportMatches(const VLExportParameters &parameters)
{
    VL_LOG("exportMatches:");
    QFile::remove(parameters.path);
    if (parameters.matches.isEmpty())
        return {};
    VLMatchRecordList records;

    const HBColorDocumentPtr document = HBColorDocumentPtr::create();
    const QSharedPointer<TX350CustomResource> resource = TX350CustomResource::resource();
    const qsizetype found = parameters.matches.size();
    qsizetype exported = 0;
    int fandeckCounter = 0;

    for (const KDMeasurementPtr &match : parameters.matches) {
        const HBColorPtr measured = match ? match->measurementColorForColorSpace(kColorInfo) : HBColorPtr();
        if (!measured)
            continue;
        const QString audioFileName = measured->attributeForKey(QStringLiteral("AudioFileName")).toString();
        const QVariant textTag = measured->attributeForKey(QStringLiteral("TextTag"));
        const QString colorId = measured->attributeForKey(QStringLiteral("ColorId")).toString();
        const QString deviceFileID = measured->attributeForKey(QStringLiteral("DeviceFileID")).toString();
        const QVariant since1970 = measured->attributeForKey(QStringLiteral("DateSince1970"));
        const QDateTime date = vlDateFromSecondsSince1970(since1970.toDouble());

        const HBColorDocumentPtr fandeck = m_deviceFileIDToMemoryFandeckMap.value(deviceFileID);
        if (!fandeck) {
            VL_LOG("Could not load doc for %@", deviceFileID);
            continue;
        }
        QList<HBColorPtr> candidates = fandeck->colorsWithAttributes({{HBColorNumberAttributeKey, colorId}});
        if (candidates.isEmpty())
            candidates = fandeck->colorsWithAttributes({{HBColorNameAttributeKey, colorId}});
        if (candidates.isEmpty()) {
            VL_LOG("Could not find color for %@", colorId);
            continue;
        }
        const HBColorPtr fandeckColor = candidates.last();

        HBColorRepresentationPtr representation;
        const QList<HBColorRepresentationPtr> spectra =
            fandeckColor->representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
        if (!spectra.isEmpty()) {
            VLError error;
            representation = spectra.last()->colorUsingColorSpaceModel(
                HBColorSpaceModelCIELab,
                {{HBColorRepIlluminantAttributeKey, HBIlluminantD65}, {HBColorRepObserverTypeAttributeKey, 1}},
                &error);
            if (!representation) {
                VL_LOG("Could not create lab rep for %@", colorId);
                continue;
            }
        } else {
            VL_LOG("Could not find spectral rep for %@", colorId);
            const QList<HBColorRepresentationPtr> labs =
                fandeckColor->representationsWithColorSpaceModel(HBColorSpaceModelCIELab);
            if (labs.isEmpty())
                continue;
            // A copy: the fandeck's own representation stays as it was loaded.
            VLError error;
            representation = labs.last()->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {}, &error);
            if (!representation)
                continue;
        }
        setExportConditions(representation);

        const HBColorPtr color = HBColor::color();
        for (auto it = fandeckColor->attributes().constBegin(); it != fandeckColor->attributes().constEnd(); ++it)
            color->setAttribute(it.value(), it.key());
        color->addRepresentation(representation);

        // The export id lives on the loaded document, so a fandeck keeps it for the rest of the run.
        if (!fandeck->attributes().contains(TX350CustomResourceFandeckIDKey))
            fandeck->setAttribute(QStringLiteral("fd%1").arg(fandeckCounter++), TX350CustomResourceFandeckIDKey);
        const QString fandeckID = fandeck->attributeForKey(TX350CustomResourceFandeckIDKey).toString();
        QVariantMap fandeckEntry{{TX350CustomResourceFandeckIDKey, fandeckID}};
        insertIfPresent(fandeckEntry, TX350CustomResourceFandeckGUIDKey,
                        fandeck->attributeForKey(CXF3FandeckCustomResourceGUIDKey));
        insertIfPresent(fandeckEntry, TX350CustomResourceFandeckNameKey,
                        fandeck->attributeForKey(CXF3FandeckCustomResourceNameKey));
        insertIfPresent(fandeckEntry, TX350CustomResourceFandeckEditionKey,
                        fandeck->attributeForKey(CXF3FandeckCustomResourceEditionKey));
        insertIfPresent(fandeckEntry, TX350CustomResourceFandeckSupplierKey,
                        fandeck->attributeForKey(CXF3FandeckCustomResourceSupplierKey));
        insertIfPresent(fandeckEntry, TX350CustomResourceFandeckVersionKey,
                        fandeck->attributeForKey(CXF3FandeckCustomResourceVersionKey));
        resource->addFandeck(fandeckEntry);

        QVariantMap matchEntry{
            {TX350CustomResourceMatchColorFandeckIDKey, fandeckID},
            {TX350CustomResourceMatchDeviceManufacturerKey, QStringLiteral("Kalvex")},
            {TX350CustomResourceMatchDeviceModelKey, QStringLiteral("TX350")},
        };
        // A capture time no calendar date can show is left out rather than written as an empty date.
        if (date.isValid())
            matchEntry.insert(TX350CustomResourceMatchDateKey, date);
        else
            VL_LOG("Match %@: capture time %@ is not a date; exported without one", colorId, since1970);
        insertIfPresent(matchEntry, TX350CustomResourceMatchColorObjectIDKey,
                        fandeckColor->attributeForKey(HBColorUniqueIdentifierAttributeKey));
        if (!audioFileName.isEmpty())
            matchEntry.insert(TX350CustomResourceMatchAudioSourceURIKey, QStringLiteral("Audio/") + audioFileName);
        insertIfPresent(matchEntry, TX350CustomResourceMatchTextKey, textTag);
        if (m_device)
            matchEntry.insert(TX350CustomResourceMatchDeviceSerialNumberKey, m_device->serialNumber());
        resource->addMatch(matchEntry);

        document->addColor(color);
        records << matchRecord(*fandeck, *fandeckColor, *representation, textTag, date, audioFileName, deviceFileID,
                               colorId);
        ++exported;
    }
    document->addCustomResource(resource);

    if (exported > 0) {
        QFile::remove(parameters.path);
        VLError error;
        const bool written = parameters.format == VLMatchExportFormat::CxF3
                                 ? document->writeToFile(parameters.path, &error)
                                 : vlWriteMatchRecords(parameters.format, records, parameters.path, &error);
        if (!written) {
            if (parameters.inSync)
                syncDidReceiveErrorRunNextStep(error, false);
            return {};
        }
        // A sync's measurements stay in the data folder and are the user's alone; an export goes
        // where the user chose, with the permissions new files get there.
        if (parameters.inSync)
            QFile::setPermissions(parameters.path, kVLPrivateFilePermissions);
        if (exported == found)
            return records;
    } else if (found == 0) {
        return records;
    }
    const VLError shortfall(QStringLiteral("TINTERA Sync Domain"), -1,
                            vlFormat(tr("%d measurements found but %d could be exported"), found, exported));
    if (parameters.inSync)
        syncDidReceiveErrorRunNextStep(shortfall, false);
    return records;
}
