#include "KDError.h"

#include <QCoreApplication>

const QString KDErrorDomain = QStringLiteral("KDErrorDomain");
const QString KDDeviceErrorDomain = QStringLiteral("KDDeviceErrorDomain");

VLError kdError(KDErrorCode code, const QString &detail)
{
    QString text;
    switch (code) {
    case KDErrorDeviceNotAvailable:
        text = QCoreApplication::translate("KDDevice", "The device is not available.");
        break;
    case KDErrorDeviceDisconnected:
        text = QCoreApplication::translate("KDDevice", "The device was disconnected.");
        break;
    case KDErrorCommandTimedOut:
        text = QCoreApplication::translate("KDDevice", "The device did not answer in time.");
        break;
    case KDErrorBadFrame:
        text = QCoreApplication::translate("KDDevice", "The device sent data that could not be understood.");
        break;
    case KDErrorRebootTimedOut:
        text = QCoreApplication::translate("KDDevice", "The device did not come back after rebooting.");
        break;
    case KDErrorPayloadUnreadable:
        text = QCoreApplication::translate("KDDevice", "The file to send to the device could not be read.");
        break;
    case KDErrorBadCommand:
        text = QCoreApplication::translate("KDDevice", "The command is not valid.");
        break;
    case KDErrorDeviceFolderRefused:
        text = QCoreApplication::translate("KDDevice", "Devices are not looked for.");
        break;
    case KDErrorAnswerTooLarge:
        text = QCoreApplication::translate("KDDevice", "The device sent an answer that is too large.");
        break;
    case KDErrorCommandTooSlow:
        text = QCoreApplication::translate("KDDevice", "The device answered too slowly.");
        break;
    }
    if (!detail.isEmpty())
        text += QLatin1Char(' ') + detail;
    return VLError(KDErrorDomain, code, text);
}

bool kdIsProtocolError(const VLError &error)
{
    return error.domain() == KDErrorDomain
        && (error.code() == KDErrorBadFrame || error.code() == KDErrorAnswerTooLarge || error.code() == KDErrorCommandTooSlow);
}
