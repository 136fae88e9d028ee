#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

// Keys of a file entry's dictionary.
inline const QString VLSyncFileInfoFileType = QStringLiteral("FileType");
inline const QString VLSyncFileInfoFileID = QStringLiteral("FileID");
inline const QString VLSyncFileInfoSKU = QStringLiteral("SKU");
inline const QString VLSyncFileInfoDescription = QStringLiteral("Description");
inline const QString VLSyncFileInfoVersionString = QStringLiteral("VersionString");
inline const QString VLSyncFileInfoVersionDate = QStringLiteral("VersionDate");
inline const QString VLSyncFileInfoByteLength = QStringLiteral("ByteLength");
inline const QString VLSyncFileInfoFileURL = QStringLiteral("FileURL");
// Hex of the file's SHA-256, and an Ed25519 signature (base64) of the record; both optional.
inline const QString VLSyncFileInfoSHA256 = QStringLiteral("SHA256");
inline const QString VLSyncFileInfoSignature = QStringLiteral("Signature");

// The kinds of file the device holds (values of "FileType"); "Any" asks the service for all of them.
inline const QString VLSyncSessionFileTypeAny = QStringLiteral("Any");
inline const QString VLSyncSessionFileTypeFandeck = QStringLiteral("Fandeck");
inline const QString VLSyncSessionFileTypeFirmware = QStringLiteral("Firmware");
inline const QString VLSyncSessionFileTypeDeviceSettings = QStringLiteral("DeviceSettings");
inline const QString VLSyncSessionFileTypeDeviceRights = QStringLiteral("DeviceRights");
inline const QString VLSyncSessionFileTypeApplicationRights = QStringLiteral("ApplicationRights");
inline const QString VLSyncSessionFileTypeBootloader = QStringLiteral("Bootloader");
inline const QString VLSyncSessionFileTypeBrandingStartup = QStringLiteral("WelcomeScreen");
inline const QString VLSyncSessionFileTypeBrandingMeasurement = QStringLiteral("MeasurementScreen");
inline const QString VLSyncSessionFileTypeStartSound = QStringLiteral("StartSound");
inline const QString VLSyncSessionFileTypeEndSound = QStringLiteral("EndSound");
inline const QString VLSyncSessionFileTypeMulticolorSound = QStringLiteral("MulticolorSound");
inline const QString VLSyncSessionFileTypeInversionMatrix = QStringLiteral("InversionMatrix");

// One file as known to one source (computer, device or service). Entries are shared by reference:
// updateWithNewInfo() is seen by every list that holds the entry.
class VLSyncFileInfo : public QObject
{
    Q_OBJECT
public:
    // Copies the dictionary and sets "Version" from "VersionString" (service entries, the cache).
    static QSharedPointer<VLSyncFileInfo> initWithDictionary(const QVariantMap &dictionary);
    // Reads an "info.plist" as it is; an unreadable file gives an entry with an empty dictionary.
    static QSharedPointer<VLSyncFileInfo> initWithFilename(const QString &path);

    explicit VLSyncFileInfo(QVariantMap info = {});

    bool writeToFilename(const QString &path) const;
    void updateWithNewInfo(const QVariantMap &newInfo);

    const QVariantMap &info() const { return m_info; }
    QString fileType() const;
    QString fileID() const;
    QString SKU() const;
    QString fileDescription() const;
    QString versionString() const;
    double version() const;
    qint64 byteLength() const;
    QUrl fileURL() const;
    QString deviceFileID() const;
    QDateTime versionDate() const;
    bool needsRebootAfterInstall() const;
    QString description() const;

    static double numberFromVersion(const QString &versionString);
    // "month/day/year h:mm:ss AM|PM" in local time; invalid when the text is not in that shape.
    static QDateTime dateFromVersionDateString(const QString &text);

private:
    QString stringForKey(const QString &key) const;
    QVariantMap m_info;
};

using VLSyncFileInfoPtr = QSharedPointer<VLSyncFileInfo>;
using VLSyncFileList = QList<VLSyncFileInfoPtr>;

// Text of a list of entries, as the inventory's description prints it.
QString vlDescribeFileList(const VLSyncFileList &files);
