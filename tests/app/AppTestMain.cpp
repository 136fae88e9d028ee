#include "VLApplication.h"

#include <gtest/gtest.h>

// The application's tests run inside the application object itself, on Qt's offscreen platform
// unless a display is given.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    VLApplication app(argc, argv);
    VLApplication::setApplicationName(QStringLiteral("TINTERA Sync"));
    VLApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
