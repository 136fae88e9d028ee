#include "VLFileURLPolicy.h"

#include "VLFileDownload.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLFileURLPolicy", text);
}

} // namespace

VLError vlFileURLRefusal(const QUrl &fileURL, const QUrl &serviceURL, const QString &fileName)
{
    const QString scheme = fileURL.scheme().toLower();
    const QString shown = fileURL.toDisplayString(QUrl::RemoveUserInfo);
    QString name = fileName.isEmpty() ? fileURL.fileName() : fileName;
    if (name.isEmpty())
        name = shown;
    QString reason;
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        reason = tr("The service lists \"%1\" at \"%2\"; files are fetched over http or https only.");
    else if (fileURL.host().isEmpty())
        reason = tr("The service lists \"%1\" at \"%2\", which names no host.");
    else if (serviceURL.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0 && scheme != QLatin1String("https"))
        reason = tr("The service lists \"%1\" at \"%2\", which is not an https URL; the files of an https service are "
                    "fetched over https only.");
    if (reason.isEmpty())
        return {};
    return VLError(VLFileDownloadErrorDomain, VLFileDownloadErrorRefusedURL, reason.arg(name, shown),
                   {{QStringLiteral("NSErrorFailingURLStringKey"), fileURL.toString()}});
}
