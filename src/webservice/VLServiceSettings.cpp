#include "VLServiceSettings.h"

#include "VLDataFolder.h"
#include "VLPropertyList.h"
#include "VLTransportSecurity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace {

const QString kDomain = QStringLiteral("VLServiceSettingsDomain");

QString tr(const char *text)
{
    return QCoreApplication::translate("VLServiceSettings", text);
}

} // namespace

namespace VLServiceSettings {

QString path()
{
    return vlApplicationDataFolder() + QStringLiteral("/Service.plist");
}

QString value(const QString &key)
{
    return VLPropertyList::readDictionary(path()).value(key).toString();
}

VLError serviceURLError(const QString &url)
{
    const QUrl parsed(url, QUrl::StrictMode);
    const QString scheme = parsed.scheme().toLower();
    if (!parsed.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        || parsed.host().isEmpty() || parsed.hasQuery() || parsed.hasFragment())
        return VLError(kDomain, 1, tr("\"%1\" is not the URL of a sync service: an http or https URL with a host and "
                                      "no query is needed.").arg(url));
    return {};
}

bool setValue(const QString &key, const QString &value, VLError *error)
{
    QString stored = value;
    if (!value.isEmpty() && key == ServiceURLKey) {
        const VLError invalid = serviceURLError(value);
        if (!invalid.isNull()) {
            if (error)
                *error = invalid;
            return false;
        }
    } else if (!value.isEmpty() && key == TrustedCAFileKey) {
        int count = 0;
        if (!vlReadCertificatesFile(value, &count, error))
            return false;
        stored = QFileInfo(value).absoluteFilePath();
    }
    VLError readError;
    QVariantMap settings = VLPropertyList::readDictionary(path(), &readError);
    if (stored.isEmpty())
        settings.remove(key);
    else
        settings.insert(key, stored);
    QDir().mkpath(vlApplicationDataFolder());
    return VLPropertyList::writeXml(path(), settings, error);
}

} // namespace VLServiceSettings

namespace VLServiceSettings {
const QString ServiceURLKey = QStringLiteral("VLSyncServiceURL");
const QString TrustedCAFileKey = QStringLiteral("VLSyncTrustedCAFile");
const QString RequireSignedFilesKey = QStringLiteral("VLRequireSignedFiles");
} // namespace VLServiceSettings
