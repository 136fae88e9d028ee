#include "KDWireProtocol.h"

#include "KDError.h"
#include "VLPropertyList.h"

#include <QtEndian>

namespace KDWire {

const QString KindKey = QStringLiteral("Kind");
const QString ProtocolVersionKey = QStringLiteral("ProtocolVersion");
const QString NameKey = QStringLiteral("Name");
const QString SerialNumberKey = QStringLiteral("SerialNumber");
const QString AttributesKey = QStringLiteral("Attributes");
const QString IdKey = QStringLiteral("Id");
const QString CommandKey = QStringLiteral("Command");
const QString ArgumentsKey = QStringLiteral("Arguments");
const QString HasDataKey = QStringLiteral("HasData");
const QString ErrorKey = QStringLiteral("Error");
const QString MeasurementsKey = QStringLiteral("Measurements");
const QString KindHello = QStringLiteral("Hello");
const QString KindCommand = QStringLiteral("Command");
const QString KindResponse = QStringLiteral("Response");
const QString ErrorDomainKey = QStringLiteral("Domain");
const QString ErrorCodeKey = QStringLiteral("Code");
const QString ErrorDescriptionKey = QStringLiteral("Description");

quint64 answerLimit(const QString &command)
{
    // A device holds a few thousand files and captures; an audio note is minutes of sound at most.
    if (command == QLatin1String("Download"))
        return kLargestAnswerLimit;
    if (command == QLatin1String("GetFiles") || command == QLatin1String("GetMeasurements"))
        return 16 * 1024 * 1024;
    return kOrdinaryAnswerLimit;
}

QVariantMap dictionaryFromError(const VLError &error)
{
    return {{ErrorDomainKey, error.domain()},
            {ErrorCodeKey, error.code()},
            {ErrorDescriptionKey, error.localizedDescription()}};
}

VLError errorFromDictionary(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantMap)
        return {};
    const QVariantMap map = value.toMap();
    const QString domain = map.value(ErrorDomainKey).toString();
    if (domain.isEmpty())
        return {};
    return VLError(domain, map.value(ErrorCodeKey).toLongLong(), map.value(ErrorDescriptionKey).toString());
}

QByteArray encodeFrameStart(const QVariantMap &header, quint64 payloadLength, VLError *error)
{
    const QByteArray encoded = VLPropertyList::toBinary(header, error);
    if (encoded.isEmpty() || encoded.size() > qsizetype(kMaxHeaderLength)) {
        if (error && error->isNull())
            *error = kdError(KDErrorBadFrame, QStringLiteral("The frame header is too large."));
        return {};
    }
    QByteArray frame(kPrefixLength, Qt::Uninitialized);
    std::copy(std::begin(kMagic), std::end(kMagic), frame.data());
    qToBigEndian<quint32>(quint32(encoded.size()), frame.data() + 4);
    qToBigEndian<quint64>(payloadLength, frame.data() + 8);
    frame.append(encoded);
    return frame;
}

} // namespace KDWire
