#include "VLSyncRunReport.h"

#include "VLMatchRecord.h"

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
