#include "TinteraCommandSupport.h"

#include "TinteraCommandLine.h"
#include "TinteraDevices.h"
#include "TinteraJson.h"
#include "VLMatchRecord.h"
#include "TinteraProgressDisplay.h"
#include "VLFormat.h"
#include "VLMeasurementLibrary.h"
#include "VLSyncAdvice.h"
#include "VLSyncManager.h"
#include "VLTerminationSignals.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>

#include <csignal>
#include <cstdlib>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

QString seconds(qint64 milliseconds)
{
    return vlFormat(milliseconds < 10000 ? "%.2f s" : "%.1f s", double(milliseconds) / 1000.0);
}

std::unique_ptr<TinteraRunObserver> observerFor(const TinteraInvocation &invocation, FILE *progress)
{
    const TinteraProgressDisplay::Mode mode = TinteraProgressDisplay::modeForStream(progress);
    if (invocation.json && progress == invocation.out)
        return std::make_unique<TinteraJsonEvents>(invocation);
    // Progress beside the command's real output is for a person watching a terminal; in a log or
    // a script's capture it would only bury the messages that matter.
    if (invocation.json || (progress != invocation.out && mode != TinteraProgressDisplay::Mode::Live))
        return std::make_unique<TinteraQuietObserver>();
    return std::make_unique<TinteraProgressDisplay>(progress, mode);
}

int reportSyncAsJson(TinteraInvocation &invocation, const std::optional<VLSyncRunReport> &report, VLSyncManager *manager)
{
    using Ending = VLSyncRunReport::Ending;
    int status = TinteraExitSuccess;
    QString result = QStringLiteral("ok");
    QJsonValue cancelReason = QJsonValue::Null;
    QJsonValue failure = QJsonValue::Null;
    if (!report || report->ending == Ending::Failed || report->ending == Ending::Refused) {
        status = TinteraExitFailure;
        result = QStringLiteral("failed");
        failure = !report                             ? tr("the device is busy or not available; the sync could not start.")
                  : report->ending == Ending::Refused ? report->errors.value(0).localizedDescription()
                                                      : tr("You do not appear to be connected to the Internet.  Please connect and sync again.");
    } else if (report->wasCancelled()) {
        status = TinteraExitCancelled;
        result = QStringLiteral("cancelled");
        cancelReason = report->ending == Ending::DeviceGone ? QStringLiteral("deviceGone")
                       : report->ending == Ending::Stalled  ? QStringLiteral("stalled")
                                                            : QStringLiteral("interrupted");
    } else if (!report->errors.isEmpty()) {
        status = TinteraExitFailure;
        result = QStringLiteral("errors");
    }
    const VLSyncRunReport shown = report.value_or(VLSyncRunReport());
    QJsonArray errors;
    for (const VLError &error : shown.errors)
        errors.append(tinteraErrorJson(error));
    const QString matches = manager ? manager->pathForGlobalAutoSyncMatchesFile() : QString();
    invocation.printJson({{QStringLiteral("event"), QStringLiteral("summary")},
                          {QStringLiteral("result"), result},
                          {QStringLiteral("exitCode"), status},
                          {QStringLiteral("seconds"), double(shown.milliseconds()) / 1000.0},
                          {QStringLiteral("errors"), errors},
                          {QStringLiteral("cancelReason"), cancelReason},
                          {QStringLiteral("lastSync"), manager ? tinteraDateJson(manager->lastSyncDate()) : QJsonValue()},
                          {QStringLiteral("measurements"),
                           status == TinteraExitSuccess && QFileInfo::exists(matches) ? QJsonValue(matches) : QJsonValue()},
                          {QStringLiteral("error"), failure},
                          {QStringLiteral("downloaded"), tinteraFilesJson(shown.downloaded)},
                          {QStringLiteral("installed"), tinteraFilesJson(shown.installed)},
                          {QStringLiteral("fandecksEnabled"), tinteraFilesJson(shown.fandecksEnabled)},
                          {QStringLiteral("settingsApplied"), tinteraFilesJson(shown.settingsApplied)},
                          {QStringLiteral("matchesFound"), qint64(shown.matchesFound)},
                          {QStringLiteral("matchesExported"), int(shown.matchesExported.size())}});
    return status;
}

} // namespace

TinteraDeviceSession::TinteraDeviceSession(TinteraInvocation &invocation, FILE *progress)
    : m_invocation(invocation)
    , m_devices(std::make_unique<TinteraDevices>())
    , m_observer(observerFor(invocation, progress))
{
}

TinteraDeviceSession::~TinteraDeviceSession() = default;

bool TinteraDeviceSession::open(std::function<void()> beforeForcedExit)
{
    VLError error;
    const KDDevicePtr device =
        m_devices->waitForDevice(m_invocation.deviceSerialNumber(), m_invocation.deviceWaitMilliseconds(), &error);
    if (!device) {
        m_invocation.fail(error.localizedDescription());
        return false;
    }
    m_manager = m_devices->syncManagerForDevice(device);
    if (!m_manager) {
        m_invocation.fail(vlFormat(tr("the device reports an unusable serial number \"%@\"."), device->serialNumber()));
        return false;
    }
    m_runner = std::make_unique<TinteraSyncRunner>(m_manager, m_observer.get());
    if (m_invocation.runsSyncs)
        m_runner->setStallTimeoutMilliseconds(m_invocation.stallTimeoutMilliseconds());
    TinteraSyncRunner *runner = m_runner.get();
    vlHandleTerminationSignals(runner, [runner, beforeForcedExit = std::move(beforeForcedExit), asked = false](int signal) mutable {
        if (asked || !runner->isRunning()) {
            // Nothing to wind down, or asked twice: end now, as the shell expects of a signal.
            if (beforeForcedExit)
                beforeForcedExit();
            std::_Exit(128 + signal);
        }
        asked = true;
        std::fputs("\ntintera: cancelling the sync (press Ctrl-C again to stop at once)\n", stderr);
        runner->cancel();
    });
    return true;
}

bool TinteraDeviceSession::openForReading()
{
    const QString wanted = m_invocation.deviceSerialNumber();
    if (m_invocation.deviceWaitGiven() || m_devices->deviceFolderError())
        return open();
    // Devices already present announce themselves within moments.
    for (const KDDevicePtr &device : m_devices->connectedDevices(3000)) {
        if (wanted.isEmpty() || device->serialNumber() == wanted)
            return open();
    }
    const QString serial = wanted.isEmpty() ? VLSyncManager::storedSerialNumbers().value(0) : wanted;
    m_manager = serial.isEmpty() ? nullptr : VLSyncManager::syncManagerWithStoredSerialNumber(serial);
    if (!m_manager) {
        m_invocation.fail(wanted.isEmpty()
                              ? tr("No TINTERA device is connected, and none was synced on this computer before "
                                   "(--wait SECONDS waits for one).")
                              : vlFormat(tr("The TINTERA device %@ is not connected, and nothing is stored of it "
                                            "(--wait SECONDS waits for it)."),
                                         wanted));
        return false;
    }
    m_stored = true;
    std::fprintf(m_invocation.err, "%s\n",
                 qPrintable(vlFormat(tr("tintera: %@ is not connected: showing what is stored of it on this computer."),
                                     serial)));
    return true;
}

bool TinteraDeviceSession::gatherPreliminaryInfo()
{
    const std::optional<VLSyncRunReport> report = m_runner->gatherPreliminaryInfo();
    if (!report) {
        m_invocation.fail(tr("the device is busy or not available; no run could start."));
        return false;
    }
    m_preliminaryErrors = report->errors;
    if (report->ending == VLSyncRunReport::Ending::Refused) {
        m_invocation.fail(report->errors.value(0).localizedDescription());
        return false;
    }
    if (report->ending == VLSyncRunReport::Ending::Failed) {
        m_invocation.fail(tr("You do not appear to be connected to the Internet.  Please connect and sync again."));
        return false;
    }
    if (report->wasCancelled()) {
        m_invocation.fail(report->ending == VLSyncRunReport::Ending::DeviceGone
                              ? tr("gathering the fandeck information was cancelled: the device is no longer connected.")
                              : tr("gathering the fandeck information was cancelled."));
        return false;
    }
    return true;
}

int tinteraReportSync(TinteraInvocation &invocation, const std::optional<VLSyncRunReport> &report, VLSyncManager *manager)
{
    using Ending = VLSyncRunReport::Ending;
    if (report && manager)
        vlRecordSyncInLibrary(*report, manager->serialNumber());
    if (invocation.json)
        return reportSyncAsJson(invocation, report, manager);
    if (!report) {
        invocation.fail(tr("the device is busy or not available; the sync could not start."));
        return TinteraExitFailure;
    }
    if (report->ending == Ending::Refused) {
        invocation.fail(report->errors.value(0).localizedDescription());
        return TinteraExitFailure;
    }
    for (const VLError &error : report->errors)
        invocation.println(vlFormat(tr("Error code %d, %@"), error.code(), error.localizedDescription()));
    if (report->ending == Ending::Failed) {
        invocation.fail(tr("You do not appear to be connected to the Internet.  Please connect and sync again."));
        return TinteraExitFailure;
    }
    // Said of a cancelled run too: what is on the device now is what matters next.
    if (const QString installed = vlSyncRunInstalledList(*report); !installed.isEmpty())
        invocation.println(vlFormat(tr("Installed %@."), installed));
    const QString took = seconds(report->milliseconds());
    if (report->wasCancelled()) {
        const QString reason = report->ending == Ending::DeviceGone ? tr(": the device is no longer connected")
                               : report->ending == Ending::Stalled  ? tr(": no progress")
                                                                    : QString();
        invocation.println(vlFormat(tr("Sync cancelled after %@%@."), took, reason));
        return TinteraExitCancelled;
    }
    if (!report->errors.isEmpty()) {
        const QString advice = vlSyncErrorsAdvice(report->errors);
        invocation.println(vlFormat(tr("Sync finished in %@ with %d error(s).%@"), took, int(report->errors.size()),
                                    advice.isEmpty() ? QString() : QLatin1Char(' ') + advice));
        return TinteraExitFailure;
    }
    invocation.println(vlFormat(tr("Sync finished in %@ without errors. Last Sync: %@"), took,
                                manager ? manager->lastSyncDateString() : QString()));
    const QString matches = manager ? manager->pathForGlobalAutoSyncMatchesFile() : QString();
    if (!matches.isEmpty() && QFileInfo::exists(matches))
        invocation.println(vlFormat(tr("Measurements: %@"), matches));
    return TinteraExitSuccess;
}
