#include "TSLogger.h"
#include "VLApplication.h"
#include "VLSingleInstance.h"
#include "VLURLScheme.h"
#include "VelmoraSyncAppDelegate.h"

#include <QTimer>

#include <cstdio>

int main(int argc, char **argv)
{
    VLApplication app(argc, argv);
    VLApplication::setApplicationName(QStringLiteral("VelmoraSync"));
    VLApplication::setApplicationDisplayName(QStringLiteral("TINTERA Sync"));
    VLApplication::setOrganizationName(QStringLiteral("Kalvex"));

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
    return app.exec();
}
