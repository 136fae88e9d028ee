#pragma once

#include "VLError.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

// The frames that a device and the framework exchange over a stream (a local socket here; a bridge to
// hardware speaks the same frames over its own stream). A frame is
//
//   "KXF1" | header length (uint32, big-endian) | payload length (uint64, big-endian)
//   | header: a binary property list holding a dictionary | payload: raw bytes
//
// The device speaks first on every connection with a "Hello". The framework then sends "Command"
// frames, each with an identifier unique on the connection, and the device answers each with one
// "Response" frame carrying the same identifier, in any order it likes. "Reboot" is the exception:
// the device closes the connection instead of answering and comes back later with a new "Hello".
namespace KDWire {

inline constexpr char kMagic[4] = {'K', 'X', 'F', '1'};
inline constexpr qsizetype kPrefixLength = 16;
inline constexpr quint32 kMaxHeaderLength = 16 * 1024 * 1024;
inline constexpr qint64 kProtocolVersion = 1;

// Header keys.
inline const QString KindKey = QStringLiteral("Kind");
inline const QString ProtocolVersionKey = QStringLiteral("ProtocolVersion"); // Hello: integer
inline const QString NameKey = QStringLiteral("Name");                       // Hello: device name
inline const QString SerialNumberKey = QStringLiteral("SerialNumber");       // Hello
inline const QString AttributesKey = QStringLiteral("Attributes");           // Hello, Response: string dictionary
inline const QString IdKey = QStringLiteral("Id");                           // Command, Response: integer >= 1
inline const QString CommandKey = QStringLiteral("Command");                 // Command: name
inline const QString ArgumentsKey = QStringLiteral("Arguments");             // Command: string dictionary
inline const QString HasDataKey = QStringLiteral("HasData");                 // Command, Response: the payload is data
inline const QString ErrorKey = QStringLiteral("Error");                     // Response: absent on success
inline const QString MeasurementsKey = QStringLiteral("Measurements");       // Response: array of measurement records

// Values of "Kind".
inline const QString KindHello = QStringLiteral("Hello");
inline const QString KindCommand = QStringLiteral("Command");
inline const QString KindResponse = QStringLiteral("Response");

// Keys of an error dictionary.
inline const QString ErrorDomainKey = QStringLiteral("Domain");
inline const QString ErrorCodeKey = QStringLiteral("Code");
inline const QString ErrorDescriptionKey = QStringLiteral("Description");

// The most bytes (header and payload together) an answer may have: what its command can need, so
// that a device cannot make the framework hold more. Ordinary answers carry an error at most; the
// inventory, the measurements (in the header) and a downloaded audio note are the large ones.
inline constexpr quint64 kOrdinaryAnswerLimit = 1024 * 1024;
inline constexpr quint64 kLargestAnswerLimit = 64 * 1024 * 1024;
quint64 answerLimit(const QString &command);

// A bound on one frame and what the frame is, for the error that refuses it.
struct FrameLimit
{
    quint64 bytes = kOrdinaryAnswerLimit;
    QString what; // e.g. "the answer to GetFiles"
};

QVariantMap dictionaryFromError(const VLError &error);
// A null error for anything that is not an error dictionary with a domain.
VLError errorFromDictionary(const QVariant &value);

// The fixed-size prefix followed by the encoded header; payloadLength bytes must follow it.
QByteArray encodeFrameStart(const QVariantMap &header, quint64 payloadLength, VLError *error = nullptr);

} // namespace KDWire
