#include "DevsimStore.h"

#include "DevsimErrors.h"
#include "VLPathComponent.h"
#include "VLPropertyList.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

DevsimStore::DevsimStore(const QString &stateFolder, const QString &serialNumber)
    : m_serialNumber(serialNumber)
    , m_folder(QDir(devicesFolder(stateFolder)).filePath(serialNumber))
{
}

QString DevsimStore::devicesFolder(const QString &stateFolder)
{
    return QDir(stateFolder).filePath(QStringLiteral("devices"));
}

QStringList DevsimStore::serialNumbers(const QString &stateFolder)
{
    QStringList serials;
    const QStringList names = QDir(devicesFolder(stateFolder)).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &name : names) {
        if (vlIsPlainPathComponent(name) && !name.startsWith(QLatin1Char('.')) && QFileInfo::exists(DevsimStore(stateFolder, name).devicePlistPath()))
            serials.append(name);
    }
    return serials;
}

QString DevsimStore::devicePlistPath() const { return QDir(m_folder).filePath(QStringLiteral("device.plist")); }
QString DevsimStore::filesFolder() const { return QDir(m_folder).filePath(QStringLiteral("files")); }
QString DevsimStore::incomingFolder() const { return QDir(m_folder).filePath(QStringLiteral("incoming")); }
QString DevsimStore::audioFolder() const { return QDir(m_folder).filePath(QStringLiteral("audio")); }
QString DevsimStore::measurementsFolder() const { return QDir(m_folder).filePath(QStringLiteral("measurements")); }
QString DevsimStore::faultsPath() const { return QDir(m_folder).filePath(QStringLiteral("faults.plist")); }
QString DevsimStore::syncImagePath() const { return QDir(m_folder).filePath(QStringLiteral("syncimage.bmp")); }
QString DevsimStore::unpluggedMarkerPath() const { return QDir(m_folder).filePath(QStringLiteral("unplugged")); }
QString DevsimStore::linkPath() const { return QDir(m_folder).filePath(QStringLiteral("link.plist")); }
QString DevsimStore::trafficLogPath() const { return QDir(m_folder).filePath(QStringLiteral("traffic.log")); }

QString DevsimStore::filePayloadPath(const QString &deviceFileID) const
{
    return QDir(filesFolder()).filePath(deviceFileID);
}

bool DevsimStore::exists() const
{
    return QFileInfo::exists(devicePlistPath());
}

bool DevsimStore::create(const QVariantMap &identity, VLError *error)
{
    if (!vlIsPlainPathComponent(m_serialNumber) || m_serialNumber.startsWith(QLatin1Char('.'))) {
        *error = devsimError(DevsimErrorBadArgument, QStringLiteral("Not a usable serial number: %1").arg(m_serialNumber));
        return false;
    }
    if (QFileInfo::exists(m_folder)) {
        *error = devsimError(DevsimErrorBadArgument, QStringLiteral("Device %1 exists already").arg(m_serialNumber));
        return false;
    }
    // Built under a hidden name and moved into place whole, so that a running server sees a
    // complete device or none.
    const QString building = QFileInfo(m_folder).dir().filePath(
        QStringLiteral(".new-%1-%2").arg(m_serialNumber).arg(QCoreApplication::applicationPid()));
    QDir(building).removeRecursively();
    const DevsimStore draft(building);
    for (const QString &folder : {draft.filesFolder(), draft.incomingFolder(), draft.audioFolder(), draft.measurementsFolder()}) {
        if (!QDir().mkpath(folder)) {
            *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("Cannot create %1").arg(folder));
            return false;
        }
    }
    if (!draft.save(identity, error) || !QDir().rename(building, m_folder)) {
        QDir(building).removeRecursively();
        if (error->isNull())
            *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("Cannot create %1").arg(m_folder));
        return false;
    }
    return true;
}

DevsimStore::DevsimStore(const QString &folder)
    : m_folder(folder)
{
}

QVariantMap DevsimStore::load(VLError *error) const
{
    return VLPropertyList::readDictionary(devicePlistPath(), error);
}

bool DevsimStore::save(const QVariantMap &state, VLError *error) const
{
    return VLPropertyList::writeXml(devicePlistPath(), state, error);
}

QVariantList DevsimStore::measurementRecords() const
{
    QVariantList records;
    const QDir folder(measurementsFolder());
    const QStringList names = folder.entryList({QStringLiteral("*.plist")}, QDir::Files, QDir::Name);
    for (const QString &name : names) {
        const QVariantMap record = VLPropertyList::readDictionary(folder.filePath(name));
        if (!record.isEmpty())
            records.append(record);
    }
    return records;
}

QString DevsimStore::addMeasurementRecord(const QVariantMap &record, VLError *error) const
{
    const QStringList paths = addMeasurementRecords({record}, error);
    return paths.isEmpty() ? QString() : paths.first();
}

QStringList DevsimStore::addMeasurementRecords(const QList<QVariantMap> &records, VLError *error) const
{
    const QDir folder(measurementsFolder());
    QDir().mkpath(folder.path());
    const QStringList names = folder.entryList({QStringLiteral("*.plist")}, QDir::Files, QDir::Name);
    int next = 1;
    if (!names.isEmpty())
        next = QFileInfo(names.last()).completeBaseName().toInt() + 1;
    // Each record still lands whole (written aside, then renamed), but without a wait on the disk per
    // file: that wait made a batch of 10,000 take minutes, and an emulated device's captures are
    // made again by the command that made them, should a power cut take the last ones.
    QStringList paths;
    for (const QVariantMap &record : records) {
        const QString path = folder.filePath(QStringLiteral("%1.plist").arg(next++, 6, 10, QLatin1Char('0')));
        if (!VLPropertyList::writeXml(path, record, error, VLPropertyList::Durability::Replaceable)) {
            for (const QString &written : std::as_const(paths))
                QFile::remove(written);
            return {};
        }
        paths << path;
    }
    return paths;
}

qint64 DevsimStore::usedBytes(const QVariantMap &state) const
{
    qint64 used = 0;
    const QVariantList files = state.value(DevsimKey::Files).toList();
    for (const QVariant &file : files)
        used += QFileInfo(filePayloadPath(file.toMap().value(DevsimKey::DeviceFileID).toString())).size();
    const QDir audio(audioFolder());
    const QFileInfoList notes = audio.entryInfoList(QDir::Files);
    for (const QFileInfo &note : notes)
        used += note.size();
    return used;
}
