#pragma once

#include "VLError.h"

#include <QString>
#include <QVariantList>
#include <QVariantMap>

// The persistent state of one emulated device, in its own folder of the emulator's state folder:
//
//   <state>/devices/<serial>/device.plist        identity, settings, clock, the file inventory
//   <state>/devices/<serial>/files/<DeviceFileID> stored payloads
//   <state>/devices/<serial>/incoming/             payloads still arriving
//   <state>/devices/<serial>/audio/<name>         audio notes of measurements
//   <state>/devices/<serial>/measurements/*.plist one measurement record each, in name order
//   <state>/devices/<serial>/faults.plist         injected faults
//   <state>/devices/<serial>/syncimage.bmp        the last sync image
//   <state>/devices/<serial>/unplugged            present while the device is unplugged
//   <state>/devices/<serial>/link.plist           the link it sits on, its reboot time (DevsimLink)
//   <state>/devices/<serial>/traffic.log          one line per command served (DevsimTraffic)
//
// The server alone writes device.plist and traffic.log; the command line adds measurements, audio
// notes, faults, the link and the unplugged marker, each in files of their own, so the two never
// write the same file.
class DevsimStore
{
public:
    DevsimStore(const QString &stateFolder, const QString &serialNumber);

    static QString devicesFolder(const QString &stateFolder);
    static QStringList serialNumbers(const QString &stateFolder);

    const QString &serialNumber() const { return m_serialNumber; }
    const QString &folder() const { return m_folder; }
    QString devicePlistPath() const;
    QString filesFolder() const;
    // Payloads being received; the same file system as files/, so a finished one is moved, not copied.
    QString incomingFolder() const;
    QString filePayloadPath(const QString &deviceFileID) const;
    QString audioFolder() const;
    QString measurementsFolder() const;
    QString faultsPath() const;
    QString syncImagePath() const;
    QString unpluggedMarkerPath() const;
    QString linkPath() const;
    QString trafficLogPath() const;

    bool exists() const;
    // Creates the folders and a device.plist with the given identity (existing state is refused).
    bool create(const QVariantMap &identity, VLError *error);
    QVariantMap load(VLError *error = nullptr) const;
    bool save(const QVariantMap &state, VLError *error = nullptr) const;

    QVariantList measurementRecords() const;
    // Stores a record under the next free number; returns its path.
    QString addMeasurementRecord(const QVariantMap &record, VLError *error) const;
    // Several records, numbered in order; none are kept when one cannot be written.
    QStringList addMeasurementRecords(const QList<QVariantMap> &records, VLError *error) const;
    qint64 usedBytes(const QVariantMap &state) const;

private:
    explicit DevsimStore(const QString &folder);

    QString m_serialNumber;
    QString m_folder;
};

// Keys of device.plist.
namespace DevsimKey {
inline const QString SerialNumber = QStringLiteral("SerialNumber");
inline const QString Name = QStringLiteral("Name");
inline const QString ChipId = QStringLiteral("ChipId");
inline const QString Firmware = QStringLiteral("Firmware");
inline const QString PendingFirmware = QStringLiteral("PendingFirmware");
inline const QString Capacity = QStringLiteral("Capacity");
inline const QString RebootMilliseconds = QStringLiteral("RebootMilliseconds");
inline const QString NextDeviceFileID = QStringLiteral("NextDeviceFileID");
inline const QString SyncMode = QStringLiteral("SyncMode");
inline const QString ClockOffset = QStringLiteral("ClockOffset");
inline const QString DeltaE = QStringLiteral("DeltaE");
inline const QString PreferredFandeck = QStringLiteral("PreferredFandeck");
inline const QString Files = QStringLiteral("Files");
inline const QString Enabled = QStringLiteral("Enabled");
inline const QString DeviceFileID = QStringLiteral("DeviceFileID");
} // namespace DevsimKey
