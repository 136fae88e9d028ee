#include "VLReachability.h"

#include <QHostAddress>
#include <QUrl>

bool vlHostIsReachableThrough(const QString &host, const QList<QNetworkInterface> &interfaces)
{
    if (host.isEmpty())
        return false;
    const QHostAddress address(host);
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 || address.isLoopback())
        return true;
    for (const QNetworkInterface &interface : interfaces) {
        const auto flags = interface.flags();
        if (!(flags & QNetworkInterface::IsUp) || !(flags & QNetworkInterface::IsRunning)
            || (flags & QNetworkInterface::IsLoopBack))
            continue;
        for (const QNetworkAddressEntry &entry : interface.addressEntries()) {
            if (address.isNull() || entry.ip().protocol() == address.protocol())
                return true;
        }
    }
    return false;
}

bool vlHostIsReachable(const QString &host)
{
    return vlHostIsReachableThrough(host, QNetworkInterface::allInterfaces());
}

QString vlHostOfURL(const QString &url)
{
    return QUrl(url).host();
}
