#include "VLSyncRunReport.h"

#include "VLMatchRecord.h"
#include "VLSyncPlan.h"

#include <QCoreApplication>
#include <QStringList>

// Out of line: the header names the match record without its definition.
VLSyncRunReport::VLSyncRunReport() = default;
VLSyncRunReport::VLSyncRunReport(const VLSyncRunReport &other) = default;
VLSyncRunReport &VLSyncRunReport::operator=(const VLSyncRunReport &other) = default;
VLSyncRunReport::~VLSyncRunReport() = default;

qint64 VLSyncRunReport::milliseconds() const
{
    if (!began.isValid())
        return 0;
    return began.msecsTo(ended.isValid() ? ended : QDateTime::currentDateTime());
}

QString vlSyncRunInstalledList(const VLSyncRunReport &report, qsizetype named)
{
    QStringList names;
    for (const VLSyncRunReport::File &file : report.installed) {
        // A fandeck by its name; a device file by what it is, which its description seldom says.
        const QString name = file.fileType == VLSyncSessionFileTypeFandeck
                                 ? (file.description.isEmpty() ? file.fileID : file.description)
                                 : vlDeviceFileTypeName(file.fileType);
        if (!name.isEmpty())
            names << (file.versionString.isEmpty() ? name : name + QLatin1Char(' ') + file.versionString);
    }
    if (names.size() <= named)
        return names.join(QStringLiteral(", "));
    return QCoreApplication::translate("VLSyncRunReport", "%1 and %2 more")
        .arg(names.mid(0, named).join(QStringLiteral(", ")), QString::number(names.size() - named));
}

QString vlSyncRunEndingName(VLSyncRunReport::Ending ending)
{
    switch (ending) {
    case VLSyncRunReport::Ending::Running:
        return QStringLiteral("running");
    case VLSyncRunReport::Ending::Completed:
        return QStringLiteral("completed");
    case VLSyncRunReport::Ending::Failed:
        return QStringLiteral("failed");
    case VLSyncRunReport::Ending::Cancelled:
        return QStringLiteral("cancelled");
    case VLSyncRunReport::Ending::Stalled:
        return QStringLiteral("stalled");
    case VLSyncRunReport::Ending::DeviceGone:
        return QStringLiteral("deviceGone");
    case VLSyncRunReport::Ending::Refused:
        return QStringLiteral("refused");
    }
    return {};
}
