#include "VLSyncAdvice.h"

#include "HBConstants.h"
#include "KDError.h"
#include "VLExportTarget.h"
#include "VLFileTrust.h"
#include "VLMatchRecordWriter.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VLSyncAdvice", text);
}

enum class Cause { Passing, Untrusted, UnwritableFolder, OtherSync, DeviceFull, ProgramFault };

Cause causeOf(const VLError &error)
{
    const QString &domain = error.domain();
    const qint64 code = error.code();
    // The same file is offered again, and refused again, until the service or the keys change.
    if (domain == VLFileTrustErrorDomain)
        return Cause::Untrusted;
    if ((domain == VLExportTargetErrorDomain && code == VLExportTargetFolderUnusable)
        || (domain == HBErrorDomain && code == HBErrorWriteFailed)
        || (domain == VLMatchExportErrorDomain && code == 1))
        return Cause::UnwritableFolder;
    if (domain == QLatin1String("SyncManager") && code == 16)
        return Cause::OtherSync;
    if (domain == KDDeviceErrorDomain && code == KDDeviceErrorNotEnoughSpace)
        return Cause::DeviceFull;
    if (domain == KDErrorDomain && (code == KDErrorBadCommand || code == KDErrorDeviceFolderRefused))
        return Cause::ProgramFault;
    return Cause::Passing;
}

} // namespace

bool vlSyncAgainHelps(const VLError &error)
{
    return causeOf(error) == Cause::Passing;
}

QString vlSyncErrorRemedy(const VLError &error)
{
    switch (causeOf(error)) {
    case Cause::Passing:
        return tr("Please sync again in order to fix these errors.");
    case Cause::Untrusted:
        return tr("A file was refused as untrusted: check the service address and the trusted keys.");
    case Cause::UnwritableFolder:
        return tr("Make the folder named in the error writable, or choose another one.");
    case Cause::OtherSync:
        return tr("Wait until the other program's sync has finished.");
    case Cause::DeviceFull:
        return tr("Free space on the device: sync only the fandecks you use.");
    case Cause::ProgramFault:
        break;
    }
    return {};
}

QString vlSyncErrorsAdvice(const QList<VLError> &errors)
{
    QStringList remedies;
    for (const VLError &error : errors) {
        if (vlSyncAgainHelps(error))
            return vlSyncErrorRemedy(error);
        const QString remedy = vlSyncErrorRemedy(error);
        if (!remedy.isEmpty() && !remedies.contains(remedy))
            remedies << remedy;
    }
    return remedies.join(QLatin1Char(' '));
}
