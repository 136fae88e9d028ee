#include "TinteraCommandLine.h"
#include "VLMeasurementLibrary.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera"));
    vlKeepMatchesInLibrary();
    return tinteraMain(QCoreApplication::arguments());
}
