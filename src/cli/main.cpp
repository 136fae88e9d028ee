#include "TinteraCommandLine.h"
#include "VLMeasurementLibrary.h"

#include <QCoreApplication>
#include <QTimer>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera"));
    vlKeepMatchesInLibrary();
    // The command runs inside the application's event loop so that leaving it announces
    // aboutToQuit: a sync manager then finishes a fandeck export still working on another thread
    // (an interrupted sync's, say) before the process tears down what that thread uses.
    int status = 0;
    QTimer::singleShot(0, &application, [&status] {
        status = tinteraMain(QCoreApplication::arguments());
        QCoreApplication::exit(status);
    });
    application.exec();
    return status;
}
