#pragma once

#include "KDCommand.h"
#include "VLSyncFileInfo.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <utility>

// What this program says to the device: the names of the commands, the keys of their arguments,
// and every command built from them. Whatever sends something to the device builds it here.
namespace VLDeviceVocabulary {

namespace Command {
inline const QString BeginSync = QStringLiteral("BeginSync");
inline const QString EndSync = QStringLiteral("EndSync");
inline const QString SetSyncImage = QStringLiteral("SetSyncImage");
inline const QString GetFiles = QStringLiteral("GetFiles");
inline const QString GetMeasurements = QStringLiteral("GetMeasurements");
inline const QString Download = QStringLiteral("Download");
inline const QString Upload = QStringLiteral("Upload");
inline const QString DeleteFile = QStringLiteral("DeleteFile");
inline const QString EnableFandeck = QStringLiteral("EnableFandeck");
inline const QString SetPreferredFandeck = QStringLiteral("SetPreferredFandeck");
inline const QString SetDeltaE = QStringLiteral("SetDeltaE");
inline const QString SetClock = QStringLiteral("SetClock");
inline const QString Reboot = QStringLiteral("Reboot");
inline const QString HiddenClean = QStringLiteral("HiddenClean");
} // namespace Command

namespace Argument {
// "Download": the name of a file the device keeps, such as an audio note.
inline const QString Filename = QStringLiteral("filename");
// A file's record, as "Upload", "DeleteFile" and "EnableFandeck" carry it.
inline const QString FileType = QStringLiteral("FileType");
inline const QString FileID = QStringLiteral("FileID");
inline const QString DeviceFileID = QStringLiteral("DeviceFileID");
inline const QString SKU = QStringLiteral("SKU");
inline const QString Description = QStringLiteral("Description");
inline const QString VersionString = QStringLiteral("VersionString");
inline const QString ByteLength = QStringLiteral("ByteLength");
inline const QString FileURL = QStringLiteral("FileURL");
// "SetClock".
inline const QString Year = QStringLiteral("Year");
inline const QString Month = QStringLiteral("Month");
inline const QString Day = QStringLiteral("Day");
inline const QString Hour = QStringLiteral("Hour");
inline const QString Minute = QStringLiteral("Minute");
inline const QString Second = QStringLiteral("Second");
// "SetDeltaE".
inline const QString MatchPerformanceTolerance = QStringLiteral("MatchPerformanceTolerance");
inline const QString PriorityFandeckOffset = QStringLiteral("PriorityFandeckOffset");
inline const QString DEWeightFactorL = QStringLiteral("DEWeightFactorL");
inline const QString DEWeightFactorC = QStringLiteral("DEWeightFactorC");
inline const QString DEWeightFactorH = QStringLiteral("DEWeightFactorH");
} // namespace Argument

// A command without arguments: BeginSync, EndSync, GetFiles, GetMeasurements, Reboot, HiddenClean.
KDCommandPtr command(const QString &name);
KDCommandPtr syncImageCommand(const QByteArray &bitmap);
KDCommandPtr downloadCommand(const QString &filename);
// The local date and time, each field in decimal.
KDCommandPtr clockCommand(const QDateTime &now);
// The payload is mapped from the file, not read into memory; a field the record lacks is left out.
KDCommandPtr uploadCommand(const VLSyncFileInfoPtr &file, const QString &payloadPath);
// A file chosen by hand, with the record fields the user typed, every one sent even when empty.
KDCommandPtr uploadCommand(const QVariantMap &arguments, const QUrl &file);
KDCommandPtr deleteFileCommand(const VLSyncFileInfoPtr &file);
KDCommandPtr enableFandeckCommand(const VLSyncFileInfoPtr &fandeck);
KDCommandPtr preferredFandeckCommand(const QString &deviceFileID);
// Pairs of argument key and value; a null value is left out.
KDCommandPtr deltaECommand(const QList<std::pair<QString, QString>> &values);

} // namespace VLDeviceVocabulary
