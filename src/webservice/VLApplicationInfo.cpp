#include "VLApplicationInfo.h"

#include "VLPropertyList.h"
#include "VLServiceSettings.h"

#include <QFile>
#include <QMutex>
#include <QMutexLocker>

const QString VLSyncProductionURLKey = QStringLiteral("VLSyncProductionURL");
const QString VLSyncServiceURLEnvironmentVariable = QStringLiteral("TINTERA_SERVICE_URL");

namespace {

const QString kInfoResource = QStringLiteral(":/tintera/Info.plist");

QMutex &overrideLock()
{
    static QMutex lock;
    return lock;
}

QString &urlOverride()
{
    static QString url;
    return url;
}

QString withoutTrailingSlashes(QString url)
{
    while (url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url;
}

} // namespace

QVariantMap vlApplicationInfo()
{
    static const QVariantMap info = [] {
        QFile file(kInfoResource);
        if (!file.open(QIODevice::ReadOnly))
            return QVariantMap();
        return VLPropertyList::fromData(file.readAll()).toMap();
    }();
    return info;
}

QVariant vlApplicationInfoValue(const QString &key)
{
    return vlApplicationInfo().value(key);
}

QString vlSyncProductionURL()
{
    {
        QMutexLocker locker(&overrideLock());
        if (!urlOverride().isEmpty())
            return urlOverride();
    }
    const QString fromEnvironment = qEnvironmentVariable(VLSyncServiceURLEnvironmentVariable.toLatin1().constData());
    if (!fromEnvironment.isEmpty())
        return withoutTrailingSlashes(fromEnvironment);
    const QString stored = VLServiceSettings::value(VLServiceSettings::ServiceURLKey);
    if (!stored.isEmpty())
        return withoutTrailingSlashes(stored);
    return withoutTrailingSlashes(vlApplicationInfoValue(VLSyncProductionURLKey).toString());
}

void vlSetSyncProductionURLOverride(const QString &url)
{
    QMutexLocker locker(&overrideLock());
    urlOverride() = withoutTrailingSlashes(url);
}

QString vlApplicationVersionLine(const QString &programName)
{
    return QStringLiteral("%1 (%2) %3 build %4")
        .arg(programName, vlApplicationInfoValue(QStringLiteral("CFBundleName")).toString(),
             vlApplicationInfoValue(QStringLiteral("CFBundleShortVersionString")).toString(),
             vlApplicationInfoValue(QStringLiteral("CFBundleVersion")).toString());
}
