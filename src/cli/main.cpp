#include "TinteraCommandLine.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera"));
    return tinteraMain(QCoreApplication::arguments());
}
