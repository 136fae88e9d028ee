#include "VLSelectedOnlyWarning.h"

#include "VLFandeckListing.h"
#include "VLSyncInfo.h"
#include "VLSyncManager.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLSelectedOnlyWarning", text);
}

} // namespace

QString VLSelectedOnlyWarning::text() const
{
    QStringList names;
    for (const VLSyncFileInfoPtr &fandeck : vlFandecksSortedByDescription(removed))
        names << vlFandeckDisplayName(fandeck);
    if (noneSelected && names.isEmpty())
        return tr("No fandeck is selected: the next sync installs no fandeck on the device.");
    if (noneSelected)
        return tr("No fandeck is selected: the next sync removes every fandeck from the device (%1).")
            .arg(names.join(QStringLiteral(", ")));
    if (names.isEmpty())
        return {};
    return tr("The next sync removes %1 fandeck(s) from the device: %2.")
        .arg(names.size())
        .arg(names.join(QStringLiteral(", ")));
}

VLSelectedOnlyWarning vlSelectedOnlyWarning(VLSyncManager *manager)
{
    VLSelectedOnlyWarning warning;
    if (!manager)
        return warning;
    warning.removed = manager->syncPlan(true).fandecksToRemove;
    const VLSyncFileList known = manager->syncInfo() ? manager->syncInfo()->allUniqueFandecks() : VLSyncFileList();
    warning.noneSelected = std::none_of(known.cbegin(), known.cend(), [manager](const VLSyncFileInfoPtr &fandeck) {
        return manager->userWantsSyncForFandeckWithID(fandeck->fileID());
    });
    return warning;
}
