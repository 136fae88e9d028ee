#include "VLFandeckListing.h"

#include <algorithm>

VLSyncFileList vlFandecksSortedByDescription(const VLSyncFileList &fandecks)
{
    VLSyncFileList sorted;
    for (const VLSyncFileInfoPtr &fandeck : fandecks) {
        if (fandeck)
            sorted.append(fandeck);
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](const VLSyncFileInfoPtr &a, const VLSyncFileInfoPtr &b) {
        const QString left = a->fileDescription();
        const QString right = b->fileDescription();
        if (left.isNull() || right.isNull())
            return left.isNull() && !right.isNull();
        return QString::compare(left, right, Qt::CaseSensitive) < 0;
    });
    return sorted;
}

QString vlFandeckDisplayName(const VLSyncFileInfoPtr &fandeck)
{
    if (!fandeck)
        return QString(QLatin1String(""));
    if (!fandeck->fileDescription().isNull())
        return fandeck->fileDescription();
    if (!fandeck->fileID().isNull())
        return fandeck->fileID();
    return QString(QLatin1String(""));
}
