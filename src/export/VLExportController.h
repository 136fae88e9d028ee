#pragma once

#include "VLDeviceCommandManager.h"
#include "VLError.h"
#include "VLMatchExportFormat.h"
#include "VLMatchRecord.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

class VLExportController;
class VLSyncManager;

class VLExportControllerDelegate
{
public:
    virtual ~VLExportControllerDelegate() = default;
    // Called exactly once per export, on the main thread; a null error for success.
    virtual void exportControllerFinishedWithError(VLExportController *controller, const VLError &error) = 0;
};

// A user-started export of every match on the connected device to a chosen file, with the audio
// notes beside it: "D/N.cxf" without notes, "D/N/N.cxf" and "D/N/Audio/<note>" with them. Only
// CxF3 refers to notes; the other formats are written at the chosen path with no folder. An
// existing document is replaced only when asked to; otherwise the export ends with
// VLExportTargetExists before it writes anything.
class VLExportController : public QObject,
                           public VLDeviceCommandManagerDelegate,
                           public VLDeviceCommandManagerOptionalDelegate
{
    Q_OBJECT
public:
    explicit VLExportController(VLSyncManager *syncManager, QObject *parent = nullptr);
    ~VLExportController() override;

    VLExportControllerDelegate *delegate() const { return m_delegate; }
    void setDelegate(VLExportControllerDelegate *delegate) { m_delegate = delegate; }
    QString filename() const { return m_filename; }
    QStringList audioFileNames() const { return m_audioFileNames; }
    // The matches read from the device for the running or last export.
    QList<KDMeasurementPtr> matches() const { return m_matches; }
    // Where the document goes: the chosen path, or inside a folder of its name when notes travel with it.
    QString documentPath() const;
    // The file format of the exports started after this (CxF3 unless chosen otherwise).
    VLMatchExportFormat exportFormat() const { return m_format; }
    void setExportFormat(VLMatchExportFormat format) { m_format = format; }
    void setReplacesExistingFile(bool replace) { m_replacesExistingFile = replace; }
    // The matches the last export wrote, in order.
    VLMatchRecordList exportedRecords() const { return m_exportedRecords; }

    void exportToFilename(const QString &path);
    void exportAll();

    void receivedMeasurementsFromDeviceResponse(const KDDevicePtr &device, const KDCommandResponsePtr &response);
    void commandManagerWillSendCommand(VLDeviceCommandManager *manager, const KDCommandPtr &command) override;
    void commandManagerDidReceiveResponse(VLDeviceCommandManager *manager, const KDCommandResponsePtr &response) override;
    void commandManagerDidCompleteAllCommands(VLDeviceCommandManager *manager) override;

private:
    // What the writing phase works with, copied for its worker thread.
    struct WritingJob
    {
        VLSyncManager *syncManager = nullptr;
        QList<KDMeasurementPtr> matches;
        QStringList audioFileNames;
        QString documentPath;
        VLMatchExportFormat format = VLMatchExportFormat::CxF3;
        bool replaceExisting = false;
    };
    static VLMatchRecordList loadFandecksThenExport(const WritingJob &job);
    void sendFinishDelegateWithError(const VLError &error);

    QPointer<VLSyncManager> m_syncManager;
    VLExportControllerDelegate *m_delegate = nullptr;
    QString m_filename;
    QList<KDMeasurementPtr> m_matches;
    QStringList m_audioFileNames;
    QPointer<VLDeviceCommandManager> m_cmdManager;
    bool m_finished = false;
    VLMatchExportFormat m_format = VLMatchExportFormat::CxF3;
    bool m_replacesExistingFile = false;
    VLMatchRecordList m_exportedRecords;
};
