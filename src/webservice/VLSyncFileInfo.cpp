#include "VLSyncFileInfo.h"

#include <cmath>

#include "VLDescription.h"
#include "VLPropertyList.h"

#include <QStringList>
#include <QTimeZone>

#include <limits>

const QString VLSyncFileInfoFileType = QStringLiteral("FileType");
const QString VLSyncFileInfoFileID = QStringLiteral("FileID");
const QString VLSyncFileInfoSKU = QStringLiteral("SKU");
const QString VLSyncFileInfoDescription = QStringLiteral("Description");
const QString VLSyncFileInfoVersionString = QStringLiteral("VersionString");
const QString VLSyncFileInfoVersionDate = QStringLiteral("VersionDate");
const QString VLSyncFileInfoByteLength = QStringLiteral("ByteLength");
const QString VLSyncFileInfoFileURL = QStringLiteral("FileURL");
const QString VLSyncFileInfoSHA256 = QStringLiteral("SHA256");
const QString VLSyncFileInfoSignature = QStringLiteral("Signature");
const QString VLSyncSessionFileTypeAny = QStringLiteral("Any");
const QString VLSyncSessionFileTypeFandeck = QStringLiteral("Fandeck");
const QString VLSyncSessionFileTypeFirmware = QStringLiteral("Firmware");
const QString VLSyncSessionFileTypeDeviceSettings = QStringLiteral("DeviceSettings");
const QString VLSyncSessionFileTypeDeviceRights = QStringLiteral("DeviceRights");
const QString VLSyncSessionFileTypeApplicationRights = QStringLiteral("ApplicationRights");
const QString VLSyncSessionFileTypeBootloader = QStringLiteral("Bootloader");
const QString VLSyncSessionFileTypeBrandingStartup = QStringLiteral("WelcomeScreen");
const QString VLSyncSessionFileTypeBrandingMeasurement = QStringLiteral("MeasurementScreen");
const QString VLSyncSessionFileTypeStartSound = QStringLiteral("StartSound");
const QString VLSyncSessionFileTypeEndSound = QStringLiteral("EndSound");
const QString VLSyncSessionFileTypeMulticolorSound = QStringLiteral("MulticolorSound");
const QString VLSyncSessionFileTypeInversionMatrix = QStringLiteral("InversionMatrix");

namespace {

const QString kVersionKey = QStringLiteral("Version");
const QString kDeviceFileIDKey = QStringLiteral("DeviceFileID");

bool isVersionSeparator(QChar c)
{
    return c == QLatin1Char('.') || (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
}

// The integer value of a number text as a lenient scanner reads it: optional blanks and sign, then
// digits up to the first other character; 0 when there are none; saturates instead of overflowing.
long long leadingInteger(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+')))
        negative = text.at(i++) == QLatin1Char('-');
    long long value = 0;
    for (; i < text.size() && text.at(i) >= QLatin1Char('0') && text.at(i) <= QLatin1Char('9'); ++i) {
        const int digit = text.at(i).unicode() - '0';
        if (value > (std::numeric_limits<long long>::max() - digit) / 10)
            return negative ? std::numeric_limits<long long>::min() : std::numeric_limits<long long>::max();
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

bool parseFields(const QString &text, QChar separator, int fields[3])
{
    const QStringList parts = text.split(separator);
    if (parts.size() != 3)
        return false;
    for (int i = 0; i < 3; ++i) {
        bool ok = false;
        fields[i] = parts.at(i).toInt(&ok);
        if (!ok || fields[i] < 0)
            return false;
    }
    return true;
}

} // namespace

VLSyncFileInfo::VLSyncFileInfo(QVariantMap info)
    : m_info(std::move(info))
{
}

VLSyncFileInfoPtr VLSyncFileInfo::initWithDictionary(const QVariantMap &dictionary)
{
    QVariantMap info = dictionary;
    info.insert(kVersionKey, numberFromVersion(dictionary.value(VLSyncFileInfoVersionString).toString()));
    return VLSyncFileInfoPtr::create(std::move(info));
}

VLSyncFileInfoPtr VLSyncFileInfo::initWithFilename(const QString &path)
{
    return VLSyncFileInfoPtr::create(VLPropertyList::readDictionary(path));
}

bool VLSyncFileInfo::writeToFilename(const QString &path) const
{
    // The record of an installed download: if a power cut takes it, the file is fetched again.
    return VLPropertyList::writeXml(path, m_info, nullptr, VLPropertyList::Durability::Replaceable);
}

void VLSyncFileInfo::updateWithNewInfo(const QVariantMap &newInfo)
{
    for (auto it = newInfo.constBegin(); it != newInfo.constEnd(); ++it)
        m_info.insert(it.key(), it.value());
}

QString VLSyncFileInfo::stringForKey(const QString &key) const
{
    const auto it = m_info.constFind(key);
    return it == m_info.constEnd() ? QString() : it->toString();
}

QString VLSyncFileInfo::fileType() const { return stringForKey(VLSyncFileInfoFileType); }
QString VLSyncFileInfo::fileID() const { return stringForKey(VLSyncFileInfoFileID); }
QString VLSyncFileInfo::SKU() const { return stringForKey(VLSyncFileInfoSKU); }
QString VLSyncFileInfo::fileDescription() const { return stringForKey(VLSyncFileInfoDescription); }
QString VLSyncFileInfo::versionString() const { return stringForKey(VLSyncFileInfoVersionString); }
QString VLSyncFileInfo::deviceFileID() const { return stringForKey(kDeviceFileIDKey); }

double VLSyncFileInfo::version() const
{
    const auto it = m_info.constFind(kVersionKey);
    // A stored real can be NaN or infinite (a binary property list carries any double); such a
    // version counts as none, as a missing one does, so that comparisons stay ordered.
    const double version = it == m_info.constEnd() ? 0.0 : it->toDouble();
    return std::isfinite(version) ? version : 0.0;
}

qint64 VLSyncFileInfo::byteLength() const
{
    const auto it = m_info.constFind(VLSyncFileInfoByteLength);
    if (it == m_info.constEnd())
        return -1;
    bool ok = false;
    const qint64 length = it->toLongLong(&ok);
    return ok ? length : -1;
}

QUrl VLSyncFileInfo::fileURL() const
{
    const QString text = stringForKey(VLSyncFileInfoFileURL);
    return text.isNull() ? QUrl() : QUrl(text);
}

QDateTime VLSyncFileInfo::versionDate() const
{
    return dateFromVersionDateString(stringForKey(VLSyncFileInfoVersionDate));
}

bool VLSyncFileInfo::needsRebootAfterInstall() const
{
    static const QStringList rebootTypes{VLSyncSessionFileTypeFandeck, VLSyncSessionFileTypeFirmware,
                                         VLSyncSessionFileTypeBootloader, VLSyncSessionFileTypeBrandingStartup,
                                         VLSyncSessionFileTypeBrandingMeasurement,
                                         VLSyncSessionFileTypeInversionMatrix};
    return rebootTypes.contains(fileType());
}

QString VLSyncFileInfo::description() const
{
    return vlDescribe(m_info);
}

double VLSyncFileInfo::numberFromVersion(const QString &versionString)
{
    if (versionString.isNull())
        return 0.0;
    // Major as three digits, minor as two plus ".<code>" of a trailing capital letter; the rest is
    // ignored. Empty parts reuse the previous pass's part, as a scanner that keeps its output would.
    QString built;
    QString number;
    QString separators;
    qsizetype pos = 0;
    for (int pass = 0; pos < versionString.size(); ++pass) {
        qsizetype end = pos;
        while (end < versionString.size() && !isVersionSeparator(versionString.at(end)))
            ++end;
        if (end > pos)
            number = versionString.mid(pos, end - pos);
        pos = end;
        while (end < versionString.size() && isVersionSeparator(versionString.at(end)))
            ++end;
        if (end > pos)
            separators = versionString.mid(pos, end - pos);
        pos = end;

        const long long n = leadingInteger(number);
        if (pass == 0) {
            built += QString::asprintf("%03lld", n);
        } else if (pass == 1) {
            built += QString::asprintf("%02lld", n);
            const QChar last = separators.isEmpty() ? QChar() : separators.back();
            if (last >= QLatin1Char('A') && last <= QLatin1Char('Z'))
                built += QString::asprintf(".%02d", int(last.unicode()));
            else
                built += QStringLiteral(".00");
        }
    }
    return built.toDouble();
}

QDateTime VLSyncFileInfo::dateFromVersionDateString(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(' '));
    if (parts.size() != 3)
        return {};
    const QString &marker = parts.at(2);
    if (marker != QLatin1String("AM") && marker != QLatin1String("PM"))
        return {};
    int mdy[3];
    int hms[3];
    if (!parseFields(parts.at(0), QLatin1Char('/'), mdy) || !parseFields(parts.at(1), QLatin1Char(':'), hms))
        return {};
    const QDate date(mdy[2], mdy[0], mdy[1]); // month/day/year
    if (!date.isValid())
        return {};
    // 12 is added for PM even to 12 PM, so hour 24 occurs; like a lenient calendar, overflowing
    // hours, minutes and seconds roll into the following day.
    const qint64 hour = qint64(hms[0]) + (marker == QLatin1String("PM") ? 12 : 0);
    const qint64 seconds = hour * 3600 + qint64(hms[1]) * 60 + hms[2];
    return QDateTime(date.addDays(seconds / 86400), QTime::fromMSecsSinceStartOfDay(int(seconds % 86400) * 1000));
}

QString vlDescribeFileList(const VLSyncFileList &files)
{
    QVariantList infos;
    infos.reserve(files.size());
    for (const VLSyncFileInfoPtr &file : files)
        infos.append(file ? QVariant(file->info()) : QVariant());
    return vlDescribe(infos);
}
