#include "VLSyncSummary.h"

#include "VLMatchRecord.h"
#include "VLSyncAdvice.h"

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
    summary.installedNames = vlSyncRunInstalledList(report);
    summary.cancelled = report.wasCancelled();
    // A run that was cut short ends for its own reason; what helps with its errors is in the alert.
    if (!summary.cancelled)
        summary.advice = vlSyncErrorsAdvice(report.errors);
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

    QStringList sentences{ending};
    if (!installedNames.isEmpty())
        sentences << tr("Installed %1.").arg(installedNames);
    QStringList changes;
    if (downloaded > 0)
        changes << counted(downloaded, "%1 file downloaded", "%1 files downloaded");
    if (installed > 0 && installedNames.isEmpty())
        changes << counted(installed, "%1 installed on the device", "%1 installed on the device");
    if (matchesExported > 0)
        changes << counted(matchesExported, "%1 match exported", "%1 matches exported");
    if (!changes.isEmpty())
        sentences << changes.join(QStringLiteral(", ")) + QLatin1Char('.');
    if (sentences.size() == 1 && !cancelled && !stalled && errors == 0)
        sentences << tr("Everything was up to date.");
    if (!advice.isEmpty())
        sentences << advice;
    return sentences.join(QLatin1Char(' '));
}
