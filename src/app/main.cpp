#include "VLApplication.h"
#include "VLProgressStatusItem.h"
#include "VLSingleInstance.h"
#include "VLStatusMenu.h"
#include "VLSystemStatusItem.h"
#include "VLURLScheme.h"
#include "VelmoraSyncPreferencesWindowController.h"

#include <QAction>
#include <QMenu>

#include <cstdio>

int main(int argc, char **argv)
{
    VLApplication app(argc, argv);
    VLApplication::setApplicationName(QStringLiteral("TINTERA Sync"));
    VLApplication::setOrganizationName(QStringLiteral("Kalvex"));
    VLApplication::setQuitOnLastWindowClosed(false);

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
        std::fprintf(stderr, "VelmoraSync: %s\n", qPrintable(instance.errorString()));
        break;
    case VLSingleInstance::Role::Primary:
        break;
    }

    QMenu *menu = vlCreateStatusMenu(&app);
    auto statusItem = vlCreateSystemStatusItem(QStringLiteral("TINTERA Sync"));
    VLProgressStatusItem progress(statusItem);
    statusItem->setMenu(menu);
    VelmoraSyncPreferencesWindowController preferences;
    QObject::connect(vlMenuItemWithAction(menu, VLStatusMenuAction::RunPreferencesPanel), &QAction::triggered,
                     &preferences, &VelmoraSyncPreferencesWindowController::showWindow);
    QObject::connect(vlMenuItemWithAction(menu, VLStatusMenuAction::Terminate), &QAction::triggered, &app,
                     &QCoreApplication::quit);
    return app.exec();
}
