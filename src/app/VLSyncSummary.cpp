#include "VLSyncSummary.h"

#include "VLMatchRecord.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLSyncSummary", text);
}

// English plurals chosen here; a translation gives its own text for each of the two.
QString counted(int n, const char *one, const char *many)
{
    return (n == 1 ? tr(one) : tr(many)).arg(n);
}

} // namespace

VLSyncSummary VLSyncSummary::ofReport(const VLSyncRunReport &report)
{
    VLSyncSummary summary;
    summary.downloaded = int(report.downloaded.size());
    summary.installed = int(report.installed.size());
    summary.matchesExported = int(report.matchesExported.size());
    summary.errors = int(report.errors.size());
    summary.cancelled = report.wasCancelled();
    summary.stalled = report.ending == VLSyncRunReport::Ending::Stalled;
    return summary;
}

QString VLSyncSummary::text() const
{
    QString ending;
    if (stalled)
        ending = tr("The sync was stopped: it made no progress.");
    else if (cancelled)
        ending = tr("The sync was cancelled.");
    else if (errors > 0)
        ending = counted(errors, "The sync finished with %1 error.", "The sync finished with %1 errors.");
    else
        ending = tr("The sync finished.");

    QStringList changes;
    if (downloaded > 0)
        changes << counted(downloaded, "%1 file downloaded", "%1 files downloaded");
    if (installed > 0)
        changes << counted(installed, "%1 installed on the device", "%1 installed on the device");
    if (matchesExported > 0)
        changes << counted(matchesExported, "%1 match exported", "%1 matches exported");
    if (changes.isEmpty())
        return cancelled || stalled || errors > 0 ? ending : ending + QLatin1Char(' ') + tr("Everything was up to date.");
    QString list = changes.join(QStringLiteral(", "));
    return ending + QLatin1Char(' ') + list + QLatin1Char('.');
}
