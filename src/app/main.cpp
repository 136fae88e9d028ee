#include "TSLogger.h"
#include "TinteraDemoEnvironment.h"
#include "VLApplication.h"
#include "VLSingleInstance.h"
#include "VLTerminationSignals.h"
#include "VLURLScheme.h"
#include "VelmoraSyncAppDelegate.h"

#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {
constexpr int kTrayGraceMs = 3000;
}

int main(int argc, char **argv)
{
    VLApplication app(argc, argv);
    VLApplication::setApplicationName(QStringLiteral("VelmoraSync"));
    VLApplication::setApplicationDisplayName(QStringLiteral("TINTERA Sync"));
    VLApplication::setOrganizationName(QStringLiteral("Kalvex"));
    vlQuitOnTerminationSignals(&app);

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
    VLSingleInstance instance(VLSingleInstance::defaultServerName());
    switch (instance.claim(urls)) {
    case VLSingleInstance::Role::Secondary:
        return 0;
    case VLSingleInstance::Role::Failed:
        // Run anyway: a second launch will then start a second instance, which is still usable.
        std::fprintf(stderr, "VelmoraSync: %s\n", qPrintable(instance.errorString()));
        break;
    case VLSingleInstance::Role::Primary:
        break;
    }

    VelmoraSyncAppDelegate delegate;
    delegate.applicationDidFinishLaunching();
    QObject::connect(&instance, &VLSingleInstance::messageReceived, &delegate,
                     &VelmoraSyncAppDelegate::handleGetURLEvent);
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
