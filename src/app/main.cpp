#include "KDDeviceCenter.h"
#include "TSLogger.h"
#include "TinteraDemoEnvironment.h"
#include "VLApplicationInfo.h"
#include "VLApplication.h"
#include "VLIdleMemory.h"
#include "VLMeasurementLibrary.h"
#include "VLSingleInstance.h"
#include "VLTerminationSignals.h"
#include "VLTransportSecurity.h"
#include "VLURLScheme.h"
#include "VelmoraSyncAppDelegate.h"

#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {
constexpr int kTrayGraceMs = 3000;

const char *const kUsage =
    "Usage: VelmoraSync [--demo] [--stall-timeout SECONDS] [x-tintera-sync:URL ...]\n"
    "\n"
    "TINTERA Sync keeps a TINTERA colour-capture device in step with the sync service, from the\n"
    "system tray. A running instance takes the URLs of a second launch: an \"x-tintera-sync:\" URL\n"
    "starts a sync; a second launch without one brings the preferences window forward.\n"
    "\n"
    "  --demo     run against an emulated device and sync service in a temporary folder\n"
    "  --stall-timeout SECONDS\n"
    "             stop a sync that shows no progress for this long (default 120; 0: never)\n"
    "  --version  print the version and exit\n"
    "  --help     print this help and exit\n";

// --version and --help answer before the application object exists, so they work without a
// display (over ssh, in a package test).
bool answeredWithoutDisplay(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("%s\n", qPrintable(vlApplicationVersionLine(QStringLiteral("VelmoraSync"))));
            return true;
        }
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kUsage, stdout);
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    if (answeredWithoutDisplay(argc, argv))
        return 0;
    vlPrepareHeapForIdleRelease();
    // The program matches regular expressions only against short texts (a header, a file name, a
    // time format), where compiling them to machine code gains nothing; the compiler would stay
    // resident in the tray (0.4 MB), with a mapping both writable and executable. They are
    // interpreted unless the environment asks otherwise.
    if (!qEnvironmentVariableIsSet("QT_ENABLE_REGEXP_JIT"))
        qputenv("QT_ENABLE_REGEXP_JIT", "0");
    VLApplication app(argc, argv);
    VLApplication::setApplicationName(QStringLiteral("VelmoraSync"));
    VLApplication::setApplicationDisplayName(QStringLiteral("TINTERA Sync"));
    VLApplication::setOrganizationName(QStringLiteral("Kalvex"));
    vlQuitOnTerminationSignals(&app);
    // Every capture a sync or an export reads is kept in the measurement library.
    vlKeepMatchesInLibrary();

    // --demo: the emulated device and service in a temporary folder, set up before anything reads
    // the data folder, the device folder or the service URL.
    std::unique_ptr<TinteraDemoEnvironment> demo;
    if (app.arguments().contains(QStringLiteral("--demo"))) {
        demo = std::make_unique<TinteraDemoEnvironment>();
        VLError error;
        if (!demo->start(TinteraDemoEnvironment::Options(), &error)) {
            std::fprintf(stderr, "VelmoraSync: the demo cannot start: %s\n", qPrintable(error.localizedDescription()));
            return 1;
        }
        std::printf("TINTERA Sync demo\n  data folder: %s\n  service:     %s\n  device:      %s\n",
                    qPrintable(demo->dataFolder()), qPrintable(demo->serviceURL()),
                    qPrintable(demo->serialNumbers().join(QStringLiteral(", "))));
        std::fflush(stdout);
    }

    // URLs arrive as arguments (the desktop entry's %u); a second launch hands them to the first.
    QStringList urls;
    for (const QString &argument : app.arguments().mid(1)) {
        if (!vlURLSchemeAsWritten(argument).isEmpty())
            urls.append(argument);
    }
    QString runtimeProblem;
    VLSingleInstance instance(VLSingleInstance::defaultServerName(&runtimeProblem));
    switch (instance.claim(urls)) {
    case VLSingleInstance::Role::Secondary:
        return 0;
    case VLSingleInstance::Role::Failed:
        // Run anyway: a second launch will then start a second instance, which is still usable.
        std::fprintf(stderr, "VelmoraSync: %s\n",
                     qPrintable(runtimeProblem.isEmpty() ? instance.errorString() : runtimeProblem));
        break;
    case VLSingleInstance::Role::Primary:
        break;
    }

    // The extra CA certificates of "tintera settings ca-file", before the first request. Without
    // them the service is still tried: its certificate may come from a CA the system knows.
    VLError trustError;
    if (!vlTrustConfiguredCertificates(QString(), &trustError))
        std::fprintf(stderr, "VelmoraSync: %s\n", qPrintable(trustError.localizedDescription()));

    VelmoraSyncAppDelegate delegate;
    delegate.setStallTimeoutMilliseconds(
        VelmoraSyncAppDelegate::stallTimeoutFromArguments(app.arguments(), delegate.stallTimeoutMilliseconds()));
    delegate.applicationDidFinishLaunching();
    // A device folder that is not the user's alone is not looked at: no device will show up, and
    // a launch from a terminal says why.
    if (const VLError refused = KDDeviceCenter::defaultCenter()->directoryError())
        std::fprintf(stderr, "VelmoraSync: %s\n", qPrintable(refused.localizedDescription()));
    QObject::connect(&instance, &VLSingleInstance::messageReceived, &delegate,
                     &VelmoraSyncAppDelegate::handleGetURLEvent);
    QObject::connect(&instance, &VLSingleInstance::activationRequested, &delegate,
                     &VelmoraSyncAppDelegate::runPreferencesPanel);
    QTimer::singleShot(0, &delegate, [&delegate, urls] {
        for (const QString &url : urls)
            delegate.handleGetURLEvent(url);
    });
    // Desktops without a tray (plain GNOME) would leave the application without any window: show
    // the preferences window instead, which has Sync Now. A tray that starts late still embeds the icon.
    QTimer::singleShot(kTrayGraceMs, &delegate, [&delegate] {
        if (!QSystemTrayIcon::isSystemTrayAvailable())
            delegate.runPreferencesPanel();
    });
    return app.exec();
}
