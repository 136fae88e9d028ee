#include "VLDeviceVocabulary.h"

#include "KDCommandArgumentForKey.h"

using namespace KDCommandArgumentForKey;

namespace VLDeviceVocabulary {

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
