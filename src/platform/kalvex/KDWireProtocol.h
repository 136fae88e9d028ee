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
extern const QString KindKey;
extern const QString ProtocolVersionKey; // Hello: integer
extern const QString NameKey;            // Hello: device name
extern const QString SerialNumberKey;    // Hello
extern const QString AttributesKey;      // Hello, Response: string dictionary
extern const QString IdKey;              // Command, Response: integer >= 1
extern const QString CommandKey;         // Command: name
extern const QString ArgumentsKey;       // Command: string dictionary
extern const QString HasDataKey;         // Command, Response: the payload is data
extern const QString ErrorKey;           // Response: absent on success
extern const QString MeasurementsKey;    // Response: array of measurement records

// Values of "Kind".
extern const QString KindHello;
extern const QString KindCommand;
extern const QString KindResponse;

// Keys of an error dictionary.
extern const QString ErrorDomainKey;
extern const QString ErrorCodeKey;
extern const QString ErrorDescriptionKey;

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
