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
// The strings are defined once in the .cpp, as every shared string constant in this program is: an
// inline QString would be initialised again, at start, in each of the dozens of files that include it.
namespace VLDeviceVocabulary {

namespace Command {
extern const QString BeginSync;
extern const QString EndSync;
extern const QString SetSyncImage;
extern const QString GetFiles;
extern const QString GetMeasurements;
extern const QString Download;
extern const QString Upload;
extern const QString DeleteFile;
extern const QString EnableFandeck;
extern const QString SetPreferredFandeck;
extern const QString SetDeltaE;
extern const QString SetClock;
extern const QString Reboot;
extern const QString HiddenClean;
} // namespace Command

namespace Argument {
// "Download": the name of a file the device keeps, such as an audio note.
extern const QString Filename;
// A file's record, as "Upload", "DeleteFile" and "EnableFandeck" carry it.
extern const QString FileType;
extern const QString FileID;
extern const QString DeviceFileID;
extern const QString SKU;
extern const QString Description;
extern const QString VersionString;
extern const QString ByteLength;
extern const QString FileURL;
// "SetClock".
extern const QString Year;
extern const QString Month;
extern const QString Day;
extern const QString Hour;
extern const QString Minute;
extern const QString Second;
// "SetDeltaE".
extern const QString MatchPerformanceTolerance;
extern const QString PriorityFandeckOffset;
extern const QString DEWeightFactorL;
extern const QString DEWeightFactorC;
extern const QString DEWeightFactorH;
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
