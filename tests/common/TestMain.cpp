#include <QCoreApplication>

#include <gtest/gtest.h>

// Every test program runs inside a QCoreApplication so that asynchronous code has an event loop.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
