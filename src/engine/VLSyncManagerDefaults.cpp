#include "VLSyncManager.h"

#include "TSLogger.h"
#include "VLPropertyList.h"
#include "VLServiceSettings.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QLocale>
#include <QRegularExpression>

namespace {

const QString kAutoSync = QStringLiteral("VLSyncManagerDefaultsAutoSync");
const QString kSyncSelectedOnly = QStringLiteral("VLSyncManagerDefaultsSyncSelectedOnly");
const QString kSyncFandeckIdentifiers = QStringLiteral("VLSyncManagerDefaultsSyncFandeckIdentifiers");
const QString kLastSyncDate = QStringLiteral("VLSyncManagerDefaultsLastSyncDate");
const QString kSyncImageData = QStringLiteral("VLSyncManagerDefaultsSyncImageData");

QImage logoImage()
{
    return QImage(QStringLiteral(":/TINTERA_logo.png"));
}

// TIFF where the image-format plugin is present (it is on every supported platform), PNG otherwise;
// the reader recognises either.
QByteArray encodedForDefaults(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    const bool haveTiff = QImageWriter::supportedImageFormats().contains("tiff");
    image.save(&buffer, haveTiff ? "TIFF" : "PNG");
    return bytes;
}

} // namespace

void VLSyncManager::registerDefaults()
{
    if (m_defaults)
        return;
    VLError error;
    const QVariantMap stored = VLPropertyList::readDictionary(pathForDeviceDefaults(), &error);
    if (error.isNull()) {
        m_defaults = stored;
        return;
    }
    m_defaults = QVariantMap{{kAutoSync, false}, {kSyncSelectedOnly, false}};
    synchronizeDefaults();
}

bool VLSyncManager::synchronizeDefaults()
{
    if (!m_defaults)
        return false;
    return VLPropertyList::writeXml(pathForDeviceDefaults(), *m_defaults);
}

bool VLSyncManager::autoSyncOnDeviceConnection() const
{
    return m_defaults && m_defaults->value(kAutoSync).toBool();
}

void VLSyncManager::setAutoSyncOnDeviceConnection(bool on)
{
    willChangeValueForKey(QStringLiteral("autoSyncOnDeviceConnection"));
    if (m_defaults)
        m_defaults->insert(kAutoSync, on);
    synchronizeDefaults();
    didChangeValueForKey(QStringLiteral("autoSyncOnDeviceConnection"));
}

bool VLSyncManager::syncSelectedFandecksOnly() const
{
    return m_defaults && m_defaults->value(kSyncSelectedOnly).toBool();
}

void VLSyncManager::setSyncSelectedFandecksOnly(bool on)
{
    willChangeValueForKey(QStringLiteral("syncSelectedFandecksOnly"));
    if (m_defaults)
        m_defaults->insert(kSyncSelectedOnly, on);
    synchronizeDefaults();
    didChangeValueForKey(QStringLiteral("syncSelectedFandecksOnly"));
}

bool VLSyncManager::requireSignedFiles()
{
    return VLServiceSettings::value(VLServiceSettings::RequireSignedFilesKey) == QLatin1String("YES");
}

bool VLSyncManager::setRequireSignedFiles(bool on, VLError *error)
{
    return VLServiceSettings::setValue(VLServiceSettings::RequireSignedFilesKey, on ? QStringLiteral("YES") : QString(),
                                       error);
}

QDateTime VLSyncManager::lastSyncDate() const
{
    if (m_defaults)
        return m_defaults->value(kLastSyncDate).toDateTime();
    // Deliberately beyond the loaded settings: with the device away they are dropped, but its last
    // sync still happened, and the stored file (named by the serial number) still says when.
    if (m_serialNumber.isEmpty())
        return {};
    return VLPropertyList::readFile(pathForDeviceDefaults()).toMap().value(kLastSyncDate).toDateTime();
}

void VLSyncManager::setLastSyncDate(const QDateTime &date)
{
    willChangeValueForKey(QStringLiteral("lastSyncDate"));
    willChangeValueForKey(QStringLiteral("lastSyncDateString"));
    if (m_defaults) {
        if (date.isValid())
            m_defaults->insert(kLastSyncDate, date);
        else
            m_defaults->remove(kLastSyncDate);
    }
    synchronizeDefaults();
    didChangeValueForKey(QStringLiteral("lastSyncDateString"));
    didChangeValueForKey(QStringLiteral("lastSyncDate"));
}

QString VLSyncManager::lastSyncDateString() const
{
    const QDateTime date = lastSyncDate();
    QString text;
    if (date.isValid()) {
        const QLocale locale;
        const QDateTime local = date.toLocalTime();
        // The short time style names hours and minutes; Qt's C locale (no locale configured) adds seconds.
        QString timeFormat = locale.timeFormat(QLocale::ShortFormat);
        timeFormat.remove(QRegularExpression(QStringLiteral("[.:]ss")));
        text = locale.toString(local.date(), QLocale::LongFormat) + QLatin1Char(' ') + locale.toString(local.time(), timeFormat);
    }
    return text.trimmed().isEmpty() ? tr("Never") : text;
}

QImage VLSyncManager::displayImage() const
{
    if (!m_device || !m_device->isAvailable() || !m_device->isConnected())
        return logoImage();
    const QByteArray data = m_defaults ? m_defaults->value(kSyncImageData).toByteArray() : QByteArray();
    const QImage image = QImage::fromData(data);
    return image.isNull() ? logoImage() : image;
}

void VLSyncManager::setDisplayImage(const QImage &image)
{
    willChangeValueForKey(QStringLiteral("displayImage"));
    if (m_defaults)
        m_defaults->insert(kSyncImageData, encodedForDefaults(image));
    synchronizeDefaults();
    didChangeValueForKey(QStringLiteral("displayImage"));
}

bool VLSyncManager::userWantsSyncForFandeckWithID(const QString &fandeckID)
{
    if (!m_defaults)
        return false;
    if (!m_defaults->contains(kSyncFandeckIdentifiers))
        m_defaults->insert(kSyncFandeckIdentifiers, QVariantList());
    return m_defaults->value(kSyncFandeckIdentifiers).toStringList().contains(fandeckID);
}

void VLSyncManager::setUserWantsSyncForFandeckWithID(bool wanted, const QString &fandeckID)
{
    if (!m_defaults)
        return;
    QVariantList identifiers = m_defaults->value(kSyncFandeckIdentifiers).toList();
    if (wanted) {
        if (!identifiers.contains(fandeckID))
            identifiers.append(fandeckID);
    } else {
        identifiers.removeAll(fandeckID);
    }
    m_defaults->insert(kSyncFandeckIdentifiers, identifiers);
    synchronizeDefaults();
}
