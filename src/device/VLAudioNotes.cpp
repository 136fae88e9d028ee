#include "VLAudioNotes.h"

#include "KDCommandArgumentForKey.h"
#include "VLDeviceVocabulary.h"
#include "VLFormat.h"
#include "VLMatchEntry.h"
#include "VLPathComponent.h"
#include "VLPrivateFolder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

VLAudioNotes VLAudioNotes::ofMatches(const QList<KDMeasurementPtr> &matches, const QString &folder)
{
    VLAudioNotes notes;
    for (const KDMeasurementPtr &match : matches) {
        const QString name = VLMatchEntry::fromMeasurement(match).audioFileName;
        if (name.isEmpty())
            continue;
        if (!vlIsPlainPathComponent(name)) {
            notes.refused << name;
            continue;
        }
        notes.named << name;
        if (!QFileInfo::exists(folder + QLatin1Char('/') + name))
            notes.missing << name;
    }
    return notes;
}

bool VLAudioNotes::keepDownloadedNote(const KDCommandResponsePtr &response, const QString &folder, VLError *error)
{
    const KDCommandPtr command = response->command();
    const QByteArray data = response->data();
    const QString filename = KDCommandArgumentForKey::argumentForKey(command, VLDeviceVocabulary::Argument::Filename);
    if (!command || command->name() != VLDeviceVocabulary::Command::Download || data.isNull() || filename.isNull()
        || !vlIsPlainPathComponent(filename))
        return true;
    const QString path = folder + QLatin1Char('/') + filename;
    QFile::remove(path);
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.setPermissions(kVLPrivateFilePermissions)
        && file.write(data) == data.size() && file.commit())
        return true;
    if (error) {
        *error = VLError(QStringLiteral("SyncManager"), 4,
                         vlFormat(QCoreApplication::translate("VLSyncManager", "Cannot write %@: %@"), path,
                                  file.errorString()));
    }
    return false;
}
