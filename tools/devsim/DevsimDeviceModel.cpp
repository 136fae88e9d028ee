#include "DevsimDeviceModel.h"

#include "DevsimErrors.h"
#include "DevsimFandeck.h"
#include "DevsimMedia.h"
#include "VLPathComponent.h"
#include "VLPropertyList.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QSaveFile>

#include <cmath>
#include <utility>

namespace {

const QString kFileType = QStringLiteral("FileType");
const QString kFileID = QStringLiteral("FileID");
const QString kSKU = QStringLiteral("SKU");
const QString kByteLength = QStringLiteral("ByteLength");
const QString kFandeck = QStringLiteral("Fandeck");
const QString kFirmware = QStringLiteral("Firmware");
const QString kVersionString = QStringLiteral("VersionString");

bool isDecimal(const QString &text)
{
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,18}$"));
    return digits.match(text).hasMatch();
}

VLError badArgument(const QString &text)
{
    return devsimError(DevsimErrorBadArgument, text);
}

} // namespace

DevsimDeviceModel::DevsimDeviceModel(DevsimStore store)
    : m_store(std::move(store))
{
}

bool DevsimDeviceModel::load(VLError *error)
{
    m_state = m_store.load(error);
    return !m_state.isEmpty();
}

QString DevsimDeviceModel::name() const
{
    return m_state.value(DevsimKey::Name, QStringLiteral("Velmora")).toString();
}

QVariantMap DevsimDeviceModel::attributes() const
{
    return {{QStringLiteral("ChipId"), m_state.value(DevsimKey::ChipId).toString()},
            {QStringLiteral("Firmware"), m_state.value(DevsimKey::Firmware).toString()},
            {QStringLiteral("FreeDiskSpace"), QString::number(std::max<qint64>(freeBytes(), 0))}};
}

int DevsimDeviceModel::rebootMilliseconds() const
{
    return m_state.value(DevsimKey::RebootMilliseconds, 500).toInt();
}

qint64 DevsimDeviceModel::freeBytes() const
{
    return m_state.value(DevsimKey::Capacity).toLongLong() - m_store.usedBytes(m_state);
}

bool DevsimDeviceModel::isSingleSlotFileType(const QString &fileType)
{
    static const QStringList single{QStringLiteral("Firmware"),       QStringLiteral("Bootloader"),
                                    QStringLiteral("WelcomeScreen"),  QStringLiteral("MeasurementScreen"),
                                    QStringLiteral("StartSound"),     QStringLiteral("EndSound"),
                                    QStringLiteral("MulticolorSound"), QStringLiteral("InversionMatrix"),
                                    QStringLiteral("DeviceSettings")};
    return single.contains(fileType);
}

void DevsimDeviceModel::restart()
{
    const QString pending = m_state.take(DevsimKey::PendingFirmware).toString();
    if (!pending.isEmpty())
        m_state.insert(DevsimKey::Firmware, pending);
    m_state.insert(DevsimKey::SyncMode, false);
    m_store.save(m_state);
}

DevsimDeviceModel::Handler DevsimDeviceModel::handlerFor(const QString &name)
{
    static const QHash<QString, Handler> table{
        {QStringLiteral("BeginSync"), &DevsimDeviceModel::beginSync},
        {QStringLiteral("EndSync"), &DevsimDeviceModel::endSync},
        {QStringLiteral("SetSyncImage"), &DevsimDeviceModel::setSyncImage},
        {QStringLiteral("GetFiles"), &DevsimDeviceModel::getFiles},
        {QStringLiteral("GetMeasurements"), &DevsimDeviceModel::getMeasurements},
        {QStringLiteral("Download"), &DevsimDeviceModel::download},
        {QStringLiteral("SetClock"), &DevsimDeviceModel::setClock},
        {QStringLiteral("Reboot"), &DevsimDeviceModel::reboot},
        {QStringLiteral("DeleteFile"), &DevsimDeviceModel::deleteFile},
        {QStringLiteral("Upload"), &DevsimDeviceModel::upload},
        {QStringLiteral("EnableFandeck"), &DevsimDeviceModel::enableFandeck},
        {QStringLiteral("SetPreferredFandeck"), &DevsimDeviceModel::setPreferredFandeck},
        {QStringLiteral("SetDeltaE"), &DevsimDeviceModel::setDeltaE},
        {QStringLiteral("HiddenClean"), &DevsimDeviceModel::hiddenClean},
    };
    return table.value(name, nullptr);
}

DevsimAnswer DevsimDeviceModel::execute(const DevsimRequest &request)
{
    const Handler handler = handlerFor(request.name);
    if (!handler)
        return failure(devsimError(DevsimErrorUnknownCommand, QStringLiteral("Unknown command %1").arg(request.name)));
    return (this->*handler)(request);
}

DevsimAnswer DevsimDeviceModel::failure(const VLError &error)
{
    DevsimAnswer answer;
    answer.error = error;
    return answer;
}

DevsimAnswer DevsimDeviceModel::saved()
{
    VLError error;
    if (!m_store.save(m_state, &error))
        return failure(devsimError(DevsimErrorStorageFailed, error.localizedDescription()));
    return {};
}

qsizetype DevsimDeviceModel::fileIndex(const QString &deviceFileID) const
{
    const QVariantList files = m_state.value(DevsimKey::Files).toList();
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (!deviceFileID.isEmpty() && files.at(i).toMap().value(DevsimKey::DeviceFileID).toString() == deviceFileID)
            return i;
    }
    return -1;
}

DevsimAnswer DevsimDeviceModel::beginSync(const DevsimRequest &)
{
    m_state.insert(DevsimKey::SyncMode, true);
    return saved();
}

DevsimAnswer DevsimDeviceModel::endSync(const DevsimRequest &)
{
    m_state.insert(DevsimKey::SyncMode, false);
    return saved();
}

DevsimAnswer DevsimDeviceModel::setSyncImage(const DevsimRequest &request)
{
    if (!request.hasData)
        return failure(devsimError(DevsimErrorMissingData, QStringLiteral("SetSyncImage needs the image.")));
    QByteArray bytes = request.data;
    if (!request.dataFile.isEmpty()) {
        QFile file(request.dataFile);
        bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    if (!devsimIsBitmap(bytes))
        return failure(devsimError(DevsimErrorNotABitmap, QStringLiteral("The sync image is not a BMP image.")));
    QSaveFile image(m_store.syncImagePath());
    if (!image.open(QIODevice::WriteOnly) || image.write(bytes) != bytes.size() || !image.commit())
        return failure(devsimError(DevsimErrorStorageFailed, QStringLiteral("The sync image cannot be stored.")));
    return {};
}

DevsimAnswer DevsimDeviceModel::getFiles(const DevsimRequest &)
{
    VLError error;
    const QByteArray encoded = VLPropertyList::toBinary(m_state.value(DevsimKey::Files).toList(), &error);
    if (!error.isNull())
        return failure(devsimError(DevsimErrorStorageFailed, error.localizedDescription()));
    DevsimAnswer answer;
    answer.hasData = true;
    answer.payload = KDPayload(encoded);
    return answer;
}

DevsimAnswer DevsimDeviceModel::getMeasurements(const DevsimRequest &)
{
    DevsimAnswer answer;
    answer.measurements = m_store.measurementRecords();
    return answer;
}

DevsimAnswer DevsimDeviceModel::download(const DevsimRequest &request)
{
    const QString name = request.arguments.value(QStringLiteral("filename")).toString();
    if (!vlIsPlainPathComponent(name))
        return failure(badArgument(QStringLiteral("Download needs a plain file name, not \"%1\".").arg(name)));
    const QString path = QDir(m_store.audioFolder()).filePath(name);
    KXDataRef data = QFile::exists(path) ? KXDataWithMappedFileAtPath(path) : nullptr;
    if (!data)
        return failure(devsimError(DevsimErrorNoSuchFile, QStringLiteral("No file named %1.").arg(name)));
    DevsimAnswer answer;
    answer.hasData = true;
    answer.payload = KDPayload(data);
    return answer;
}

DevsimAnswer DevsimDeviceModel::setClock(const DevsimRequest &request)
{
    struct Field
    {
        const char *key;
        int low;
        int high;
    };
    static constexpr Field fields[] = {{"Year", 1970, 2100}, {"Month", 1, 12}, {"Day", 1, 31},
                                       {"Hour", 0, 23},      {"Minute", 0, 59}, {"Second", 0, 59}};
    int values[6] = {};
    for (int i = 0; i < 6; ++i) {
        const QString text = request.arguments.value(QString::fromLatin1(fields[i].key)).toString();
        if (!isDecimal(text) || text.toInt() < fields[i].low || text.toInt() > fields[i].high)
            return failure(badArgument(QStringLiteral("SetClock: \"%1\" is not a valid %2.")
                                           .arg(text, QString::fromLatin1(fields[i].key))));
        values[i] = text.toInt();
    }
    const QDate date(values[0], values[1], values[2]);
    if (!date.isValid())
        return failure(badArgument(QStringLiteral("SetClock: the date does not exist.")));
    // The device keeps wall-clock time without a zone; it is read back in the host's zone.
    const QDateTime wall(date, QTime(values[3], values[4], values[5]));
    m_state.insert(DevsimKey::ClockOffset, double(wall.toSecsSinceEpoch() - QDateTime::currentSecsSinceEpoch()));
    return saved();
}

DevsimAnswer DevsimDeviceModel::reboot(const DevsimRequest &)
{
    DevsimAnswer answer;
    answer.reboot = true;
    return answer;
}

DevsimAnswer DevsimDeviceModel::deleteFile(const DevsimRequest &request)
{
    const QString deviceFileID = request.arguments.value(DevsimKey::DeviceFileID).toString();
    const qsizetype index = fileIndex(deviceFileID);
    if (index < 0)
        return failure(devsimError(DevsimErrorNoSuchFile, QStringLiteral("No file with DeviceFileID \"%1\".").arg(deviceFileID)));
    QVariantList files = m_state.value(DevsimKey::Files).toList();
    const QString fileID = request.arguments.value(kFileID).toString();
    if (!fileID.isEmpty() && files.at(index).toMap().value(kFileID).toString() != fileID)
        return failure(devsimError(DevsimErrorNoSuchFile, QStringLiteral("File %1 is not %2.").arg(deviceFileID, fileID)));
    files.removeAt(index);
    QFile::remove(m_store.filePayloadPath(deviceFileID));
    m_state.insert(DevsimKey::Files, files);
    if (m_state.value(DevsimKey::PreferredFandeck).toString() == deviceFileID)
        m_state.remove(DevsimKey::PreferredFandeck);
    return saved();
}

bool DevsimDeviceModel::storePayload(const DevsimRequest &request, const QString &target, VLError *error) const
{
    QFile::remove(target);
    if (!request.dataFile.isEmpty()) {
        if (QFile::rename(request.dataFile, target))
            return true;
    } else {
        QSaveFile file(target);
        if (file.open(QIODevice::WriteOnly) && file.write(request.data) == request.data.size() && file.commit())
            return true;
    }
    *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("The file cannot be stored."));
    return false;
}

DevsimAnswer DevsimDeviceModel::upload(const DevsimRequest &request)
{
    const QVariantMap &arguments = request.arguments;
    const QString fileType = arguments.value(kFileType).toString();
    if (!request.hasData)
        return failure(devsimError(DevsimErrorMissingData, QStringLiteral("Upload needs the file's bytes.")));
    if (fileType.isEmpty())
        return failure(badArgument(QStringLiteral("Upload needs a FileType.")));
    if (arguments.contains(kByteLength)) {
        const QString declared = arguments.value(kByteLength).toString();
        if (!isDecimal(declared))
            return failure(badArgument(QStringLiteral("ByteLength \"%1\" is not a number.").arg(declared)));
        if (declared.toLongLong() != request.dataLength)
            return failure(devsimError(DevsimErrorByteLengthMismatch,
                                       QStringLiteral("ByteLength %1 does not match the %2 bytes received.")
                                           .arg(declared)
                                           .arg(request.dataLength)));
    }

    // What the new file replaces: the file of a single-slot type, or the file of the same identity.
    const QString fileID = arguments.value(kFileID).toString();
    const QString sku = arguments.value(kSKU).toString();
    QVariantList files = m_state.value(DevsimKey::Files).toList();
    QList<qsizetype> replaced;
    qint64 reclaimed = 0;
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QVariantMap file = files.at(i).toMap();
        if (file.value(kFileType).toString() != fileType)
            continue;
        const bool same = isSingleSlotFileType(fileType) || (!fileID.isEmpty() && file.value(kFileID).toString() == fileID)
                       || (fileID.isEmpty() && !sku.isEmpty() && file.value(kSKU).toString() == sku);
        if (same) {
            replaced.append(i);
            reclaimed += QFileInfo(m_store.filePayloadPath(file.value(DevsimKey::DeviceFileID).toString())).size();
        }
    }
    if (request.dataLength > freeBytes() + reclaimed)
        return failure(devsimError(DevsimErrorNotEnoughSpace,
                                   QStringLiteral("Not enough space for %1 bytes.").arg(request.dataLength)));

    const qint64 number = std::max<qint64>(m_state.value(DevsimKey::NextDeviceFileID, 1).toLongLong(), 1);
    const QString deviceFileID = QString::number(number);
    const QString target = m_store.filePayloadPath(deviceFileID);
    VLError error;
    if (!storePayload(request, target, &error))
        return failure(error);
    if (fileType == kFandeck && !devsimIsFandeckDocument(target, &error)) {
        QFile::remove(target);
        return failure(error);
    }

    for (auto it = replaced.crbegin(); it != replaced.crend(); ++it) {
        const QString oldID = files.at(*it).toMap().value(DevsimKey::DeviceFileID).toString();
        QFile::remove(m_store.filePayloadPath(oldID));
        if (m_state.value(DevsimKey::PreferredFandeck).toString() == oldID)
            m_state.remove(DevsimKey::PreferredFandeck);
        files.removeAt(*it);
    }
    QVariantMap entry;
    for (auto it = arguments.constBegin(); it != arguments.constEnd(); ++it)
        entry.insert(it.key(), it.value().toString());
    entry.insert(kByteLength, QString::number(request.dataLength));
    entry.insert(DevsimKey::DeviceFileID, deviceFileID);
    if (fileType == kFandeck)
        entry.insert(DevsimKey::Enabled, false); // until "EnableFandeck"
    files.append(entry);
    m_state.insert(DevsimKey::Files, files);
    m_state.insert(DevsimKey::NextDeviceFileID, number + 1);
    if (fileType == kFirmware)
        m_state.insert(DevsimKey::PendingFirmware, arguments.value(kVersionString).toString());
    return saved();
}

DevsimAnswer DevsimDeviceModel::enableFandeck(const DevsimRequest &request)
{
    const QString deviceFileID = request.arguments.value(DevsimKey::DeviceFileID).toString();
    const qsizetype index = fileIndex(deviceFileID);
    QVariantList files = m_state.value(DevsimKey::Files).toList();
    if (index < 0 || files.at(index).toMap().value(kFileType).toString() != kFandeck)
        return failure(devsimError(DevsimErrorNoSuchFile, QStringLiteral("No fandeck with DeviceFileID \"%1\".").arg(deviceFileID)));
    QVariantMap file = files.at(index).toMap();
    file.insert(DevsimKey::Enabled, true);
    files[index] = file;
    m_state.insert(DevsimKey::Files, files);
    return saved();
}

DevsimAnswer DevsimDeviceModel::setPreferredFandeck(const DevsimRequest &request)
{
    const QString deviceFileID = request.arguments.value(DevsimKey::DeviceFileID).toString();
    const qsizetype index = fileIndex(deviceFileID);
    if (index < 0 || m_state.value(DevsimKey::Files).toList().at(index).toMap().value(kFileType).toString() != kFandeck)
        return failure(devsimError(DevsimErrorNoSuchFile, QStringLiteral("No fandeck with DeviceFileID \"%1\".").arg(deviceFileID)));
    m_state.insert(DevsimKey::PreferredFandeck, deviceFileID);
    return saved();
}

DevsimAnswer DevsimDeviceModel::setDeltaE(const DevsimRequest &request)
{
    static const QStringList weights{QStringLiteral("DEWeightFactorL"), QStringLiteral("DEWeightFactorC"),
                                     QStringLiteral("DEWeightFactorH")};
    static const QStringList others{QStringLiteral("MatchPerformanceTolerance"), QStringLiteral("PriorityFandeckOffset")};
    QVariantMap settings = m_state.value(DevsimKey::DeltaE).toMap();
    for (const QString &key : weights + others) {
        if (!request.arguments.contains(key))
            continue;
        const QString text = request.arguments.value(key).toString().trimmed();
        bool ok = false;
        const double value = text.toDouble(&ok);
        const bool valid = ok && std::isfinite(value) && (weights.contains(key) ? value > 0 : value >= 0);
        if (!valid)
            return failure(badArgument(QStringLiteral("SetDeltaE: \"%1\" is not a valid %2.").arg(text, key)));
        settings.insert(key, value);
    }
    m_state.insert(DevsimKey::DeltaE, settings);
    return saved();
}

DevsimAnswer DevsimDeviceModel::hiddenClean(const DevsimRequest &)
{
    // A clean leaves the device as it left the factory: identity and settings stay, content goes.
    for (const QString &folder : {m_store.filesFolder(), m_store.audioFolder(), m_store.measurementsFolder()}) {
        QDir dir(folder);
        const QStringList names = dir.entryList(QDir::Files | QDir::Hidden);
        for (const QString &name : names)
            dir.remove(name);
    }
    QFile::remove(m_store.syncImagePath());
    m_state.insert(DevsimKey::Files, QVariantList());
    m_state.remove(DevsimKey::PreferredFandeck);
    m_state.remove(DevsimKey::PendingFirmware);
    return saved();
}
