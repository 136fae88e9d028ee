#pragma once

#include "KXTypes.h"
#include "VLError.h"

#include <QByteArray>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

class KDCommand;
using KDCommandPtr = QSharedPointer<KDCommand>;

// A named command for the device with string arguments and an optional data payload, given as
// bytes or as a file that is mapped, not read. The command is a thin object over its framework
// handle (KXType()), so arguments and payload set through the KX functions show here too.
class KDCommand
{
public:
    static KDCommandPtr initWithName(const QString &name);
    static KDCommandPtr initWithNameData(const QString &name, const QByteArray &data);
    // Every value is sent as text; values that are not strings are converted with toString().
    static KDCommandPtr initWithNameArguments(const QString &name, const QVariantMap &arguments);
    // A local file whose bytes become the payload. A file that cannot be mapped makes the command
    // fail with an error when it is sent.
    static KDCommandPtr initWithNameArgumentsDataURL(const QString &name, const QVariantMap &arguments,
                                                     const QUrl &dataURL);

    explicit KDCommand(const QString &name);
    ~KDCommand();
    KDCommand(const KDCommand &) = delete;
    KDCommand &operator=(const KDCommand &) = delete;

    QString name() const;
    QVariantMap arguments() const;
    // The framework handle, for KXDeviceCommandSetArgument and KXDeviceCommandSetData.
    KXDeviceCommandRef KXType() const { return m_handle; }

    bool hasData() const;
    qint64 dataLength() const;
    // A copy of the payload bytes; prefer dataLength() for large payloads.
    QByteArray data() const;
    QUrl dataURL() const { return m_dataURL; }
    // Set when the data file given at creation could not be mapped.
    const VLError &payloadError() const { return m_payloadError; }

    QString description() const;

private:
    KXDeviceCommandRef m_handle;
    QUrl m_dataURL;
    VLError m_payloadError;
};
