#include "VLSyncManager.h"

#include "VLFandeckDocumentCache.h"

#include "HBColorDocument.h"
#include "HBColorimetry.h"
#include "TSLogger.h"
#include "TX350CustomResource.h"
#include "VLMatchEntry.h"
#include "VLMatchRecordWriter.h"
#include "VLMatchesRead.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"
#include "VLSyncInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QFileInfo>
#include <QMutexLocker>
#include <QScopeGuard>
#include <QThread>

namespace {

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

void insertIfPresent(QVariantMap &entry, const QString &key, const QVariant &value)
{
    if (value.isValid() && !value.isNull())
        entry.insert(key, value);
}

// The record the other export formats are written from: what the CxF3 colour carries, plus the
// fandeck colour's spectrum (the CxF3 export carries CIELAB only) and sRGB for display.
VLMatchRecord matchRecord(const HBColorDocument &fandeck, const HBColor &fandeckColor,
                          const HBColorRepresentation &lab, const QVariant &textTag, const QDateTime &date,
                          const QString &audioNotePath, const QString &deviceFileID, const QString &colorID)
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
    record.audioNotePath = audioNotePath;
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

// Where a fandeck record's document is installed; a null string when its SKU is no plain name.
QString payloadPath(const QString &fandecksFolder, const VLSyncFileInfoPtr &record)
{
    return vlIsPlainPathComponent(record->SKU())
               ? fandecksFolder + QLatin1Char('/') + record->SKU() + QStringLiteral("/payload.cxf")
               : QString();
}

} // namespace

void VLSyncManager::prefetchFandecksForExport()
{
    // Only worth it when the export step will load them: there are matches to export. The export
    // step then takes the documents as they were parsed and only no longer waits for the parse.
    stopFandeckPrefetch();
    if (m_run->latestMatches.isEmpty() || !m_syncInfo)
        return;
    QStringList paths;
    const QString fandecksFolder = pathForGlobalFandecksFolder();
    for (const VLSyncFileInfoPtr &record : m_syncInfo->localFandecks()) {
        if (const QString path = payloadPath(fandecksFolder, record); !path.isNull())
            paths << path;
    }
    m_fandeckDocuments->prefetch(paths);
}

void VLSyncManager::stopFandeckPrefetch()
{
    m_fandeckDocuments->stopPrefetch();
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
        snapshot.formerDeviceFileIDsByFileID = rememberedDeviceFileIDsByFileID();
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
    // The documents are parsed side by side and taken in the records' order, so the log, the list
    // and the map read as if they had been opened one after another.
    const QString fandecksFolder = pathForGlobalFandecksFolder();
    QStringList paths;
    for (const VLSyncFileInfoPtr &record : decks)
        paths << payloadPath(fandecksFolder, record);
    const QList<VLFandeckDocumentCache::Loaded> opened = m_fandeckDocuments->load(paths, m_quitting);

    const QList<QString> currentIDs = snapshot.deviceFileIDByFileID.values();
    const QSet<QString> currentDeviceFileIDs(currentIDs.cbegin(), currentIDs.cend());
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
        for (const QString &key : {CXF3FandeckCustomResourceEditionKey, CXF3FandeckCustomResourceNameKey}) {
            const QString value = document->attributeForKey(key).toString();
            if (!value.isEmpty())
                m_deviceFileIDToMemoryFandeckMap.insert(value, document);
        }
        // An id the device now gives another fandeck is that one's.
        for (const QString &former : snapshot.formerDeviceFileIDsByFileID.values(record->fileID())) {
            if (!currentDeviceFileIDs.contains(former))
                m_deviceFileIDToMemoryFandeckMap.insert(former, document);
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
    m_fandeckDocuments->clear();
    m_memoryFandecksLock.unlock();
    return true;
}

void VLSyncManager::runExportMatchStep()
{
    const QList<KDMeasurementPtr> matches = m_run->latestMatches;
    m_run->latestMatches.clear();
    if (VLSyncRunReport *report = reportOfRunUnderWay())
        report->matchesFound = matches.size();
    if (matches.isEmpty()) {
        QFile::remove(pathForGlobalAutoSyncMatchesFile());
        runNextSyncStep();
        return;
    }
    const StepToken step = operationStepToken();
    QThread *worker = QThread::create([this, matches, step, run = m_run] { loadFandecksThenExportThenRun(matches, step, run); });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

void VLSyncManager::loadFandecksThenExportThenRun(const QList<KDMeasurementPtr> &matches, StepToken step,
                                                  const std::shared_ptr<VLSyncRun> &run)
{
    const VLMatchRecordList records = loadFandecksAndExportMatches({matches, pathForGlobalAutoSyncMatchesFile(), true});
    // A run cancelled while the worker loaded has already ended: it must not be advanced again,
    // nor its report changed. The run is read on the main thread only.
    QMetaObject::invokeMethod(
        this,
        [this, step, run, records] {
            if (!run->hasEnded())
                run->report.matchesExported = records;
            completeOperation(step, [this] { runNextSyncStep(); });
        },
        Qt::QueuedConnection);
}

VLMatchRecordList VLSyncManager::loadFandecksAndExportMatches(const VLExportParameters &parameters)
{
    {
        QMutexLocker locker(&m_exportsLock);
        ++m_exportsRunning;
    }
    const auto left = qScopeGuard([this] {
        QMutexLocker locker(&m_exportsLock);
        --m_exportsRunning;
        m_exportsChanged.wakeAll();
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
        const HBColorPtr color = match ? match->measurementColorForColorSpace(KDMeasurementColorSpaceColorInfo) : HBColorPtr();
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
    QMutexLocker locker(&m_exportsLock);
    while (m_exportsRunning > 0) {
        locker.unlock();
        // The event loop is gone: a worker blocked on its call to the main thread is served here,
        // or it and this wait would wait for each other.
        QCoreApplication::sendPostedEvents(&m_exportCalls, QEvent::MetaCall);
        locker.relock();
        if (m_exportsRunning > 0)
            m_exportsChanged.wait(&m_exportsLock, 5);
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
        const VLMatchEntry entry = VLMatchEntry::fromMeasurement(match);
        if (!entry.measured)
            continue;
        const QString &colorId = entry.colorId;
        const QString &deviceFileID = entry.deviceFileID;

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

        if (!entry.date.isValid())
            VL_LOG("Match %@: capture time %@ is not a date; exported without one", colorId, entry.since1970);
        resource->addMatch(entry.exportEntry(fandeckID, fandeckColor->attributeForKey(HBColorUniqueIdentifierAttributeKey),
                                             m_device ? m_device->serialNumber() : QString()));

        document->addColor(color);
        // Only a CxF3 export has its notes in an "Audio" folder beside it; the other formats name
        // the note without pointing into a folder that is not there.
        const QString audioNotePath = entry.audioFileName.isEmpty() || parameters.format != VLMatchExportFormat::CxF3
                                          ? entry.audioFileName
                                          : QStringLiteral("Audio/") + entry.audioFileName;
        records << matchRecord(*fandeck, *fandeckColor, *representation, entry.textTag, entry.date, audioNotePath,
                               deviceFileID, colorId);
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
