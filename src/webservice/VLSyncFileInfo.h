#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

// Keys of a file entry's dictionary.
extern const QString VLSyncFileInfoFileType;
extern const QString VLSyncFileInfoFileID;
extern const QString VLSyncFileInfoSKU;
extern const QString VLSyncFileInfoDescription;
extern const QString VLSyncFileInfoVersionString;
extern const QString VLSyncFileInfoVersionDate;
extern const QString VLSyncFileInfoByteLength;
extern const QString VLSyncFileInfoFileURL;
// Hex of the file's SHA-256, and an Ed25519 signature (base64) of the record; both optional.
extern const QString VLSyncFileInfoSHA256;
extern const QString VLSyncFileInfoSignature;

// The kinds of file the device holds (values of "FileType"); "Any" asks the service for all of them.
extern const QString VLSyncSessionFileTypeAny;
extern const QString VLSyncSessionFileTypeFandeck;
extern const QString VLSyncSessionFileTypeFirmware;
extern const QString VLSyncSessionFileTypeDeviceSettings;
extern const QString VLSyncSessionFileTypeDeviceRights;
extern const QString VLSyncSessionFileTypeApplicationRights;
extern const QString VLSyncSessionFileTypeBootloader;
extern const QString VLSyncSessionFileTypeBrandingStartup;
extern const QString VLSyncSessionFileTypeBrandingMeasurement;
extern const QString VLSyncSessionFileTypeStartSound;
extern const QString VLSyncSessionFileTypeEndSound;
extern const QString VLSyncSessionFileTypeMulticolorSound;
extern const QString VLSyncSessionFileTypeInversionMatrix;

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
