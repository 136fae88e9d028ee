#include "VLDeviceVocabulary.h"

#include "KDCommandArgumentForKey.h"

using namespace KDCommandArgumentForKey;

namespace VLDeviceVocabulary {

namespace Command {
const QString BeginSync = QStringLiteral("BeginSync");
const QString EndSync = QStringLiteral("EndSync");
const QString SetSyncImage = QStringLiteral("SetSyncImage");
const QString GetFiles = QStringLiteral("GetFiles");
const QString GetMeasurements = QStringLiteral("GetMeasurements");
const QString Download = QStringLiteral("Download");
const QString Upload = QStringLiteral("Upload");
const QString DeleteFile = QStringLiteral("DeleteFile");
const QString EnableFandeck = QStringLiteral("EnableFandeck");
const QString SetPreferredFandeck = QStringLiteral("SetPreferredFandeck");
const QString SetDeltaE = QStringLiteral("SetDeltaE");
const QString SetClock = QStringLiteral("SetClock");
const QString Reboot = QStringLiteral("Reboot");
const QString HiddenClean = QStringLiteral("HiddenClean");
} // namespace Command

namespace Argument {
const QString Filename = QStringLiteral("filename");
const QString FileType = QStringLiteral("FileType");
const QString FileID = QStringLiteral("FileID");
const QString DeviceFileID = QStringLiteral("DeviceFileID");
const QString SKU = QStringLiteral("SKU");
const QString Description = QStringLiteral("Description");
const QString VersionString = QStringLiteral("VersionString");
const QString ByteLength = QStringLiteral("ByteLength");
const QString FileURL = QStringLiteral("FileURL");
const QString Year = QStringLiteral("Year");
const QString Month = QStringLiteral("Month");
const QString Day = QStringLiteral("Day");
const QString Hour = QStringLiteral("Hour");
const QString Minute = QStringLiteral("Minute");
const QString Second = QStringLiteral("Second");
const QString MatchPerformanceTolerance = QStringLiteral("MatchPerformanceTolerance");
const QString PriorityFandeckOffset = QStringLiteral("PriorityFandeckOffset");
const QString DEWeightFactorL = QStringLiteral("DEWeightFactorL");
const QString DEWeightFactorC = QStringLiteral("DEWeightFactorC");
const QString DEWeightFactorH = QStringLiteral("DEWeightFactorH");
} // namespace Argument

namespace {

void setArguments(const KDCommandPtr &command, const QList<std::pair<QString, QString>> &values)
{
    for (const auto &[key, value] : values) {
        if (!value.isNull())
            setArgumentForKey(command, value, key);
    }
}

} // namespace

KDCommandPtr command(const QString &name)
{
    return KDCommand::initWithName(name);
}

KDCommandPtr syncImageCommand(const QByteArray &bitmap)
{
    return KDCommand::initWithNameData(Command::SetSyncImage, bitmap);
}

KDCommandPtr downloadCommand(const QString &filename)
{
    const KDCommandPtr download = KDCommand::initWithName(Command::Download);
    setArgumentForKey(download, filename, Argument::Filename);
    return download;
}

KDCommandPtr clockCommand(const QDateTime &now)
{
    const QDate date = now.date();
    const QTime time = now.time();
    const KDCommandPtr clock = KDCommand::initWithName(Command::SetClock);
    setArguments(clock, {{Argument::Year, QString::number(date.year())},
                         {Argument::Month, QString::number(date.month())},
                         {Argument::Day, QString::number(date.day())},
                         {Argument::Hour, QString::number(time.hour())},
                         {Argument::Minute, QString::number(time.minute())},
                         {Argument::Second, QString::number(time.second())}});
    return clock;
}

KDCommandPtr uploadCommand(const VLSyncFileInfoPtr &file, const QString &payloadPath)
{
    const KDCommandPtr upload = KDCommand::initWithName(Command::Upload);
    setDataFromFilename(upload, payloadPath);
    setArguments(upload, {{Argument::FileType, file->fileType()},
                          {Argument::FileID, file->fileID()},
                          {Argument::SKU, file->SKU()},
                          {Argument::Description, file->fileDescription()},
                          {Argument::VersionString, file->versionString()},
                          {Argument::ByteLength, QString::number(file->byteLength())}});
    if (file->fileURL().isValid())
        setArgumentForKey(upload, file->fileURL().toString(QUrl::FullyEncoded), Argument::FileURL);
    return upload;
}

KDCommandPtr uploadCommand(const QVariantMap &arguments, const QUrl &file)
{
    return KDCommand::initWithNameArgumentsDataURL(Command::Upload, arguments, file);
}

KDCommandPtr deleteFileCommand(const VLSyncFileInfoPtr &file)
{
    const KDCommandPtr deleteFile = KDCommand::initWithName(Command::DeleteFile);
    setArgumentForKey(deleteFile, file->fileID(), Argument::FileID);
    setArgumentForKey(deleteFile, file->deviceFileID(), Argument::DeviceFileID);
    setArguments(deleteFile, {{Argument::Description, file->fileDescription()}});
    return deleteFile;
}

KDCommandPtr enableFandeckCommand(const VLSyncFileInfoPtr &fandeck)
{
    const KDCommandPtr enable = KDCommand::initWithName(Command::EnableFandeck);
    setArgumentForKey(enable, fandeck->deviceFileID(), Argument::DeviceFileID);
    setArguments(enable, {{Argument::Description, fandeck->fileDescription()}});
    return enable;
}

KDCommandPtr preferredFandeckCommand(const QString &deviceFileID)
{
    const KDCommandPtr preferred = KDCommand::initWithName(Command::SetPreferredFandeck);
    setArgumentForKey(preferred, deviceFileID, Argument::DeviceFileID);
    return preferred;
}

KDCommandPtr deltaECommand(const QList<std::pair<QString, QString>> &values)
{
    const KDCommandPtr deltaE = KDCommand::initWithName(Command::SetDeltaE);
    setArguments(deltaE, values);
    return deltaE;
}

} // namespace VLDeviceVocabulary
