#include "VLDesktopOpener.h"

#include <QDesktopServices>
#include <QTimer>
#include <QUrl>

// Launch Services answers honestly whether an application took the file.
void vlOpenWithDesktop(const QString &path, QObject *context, VLOpenedHandler done)
{
    const bool opened = QDesktopServices::openUrl(QUrl::fromLocalFile(path));
    QTimer::singleShot(0, context, [done, opened] { done(opened); });
}
