#pragma once

#include "TinteraDemoEnvironment.h"

#include <gtest/gtest.h>

// The program against a running service emulator and an emulated device with three captures.
class TinteraAgainstEmulators : public ::testing::Test
{
protected:
    void SetUp() override
    {
        TinteraDemoEnvironment::Options options;
        options.rebootMilliseconds = 0;
        VLError error;
        ASSERT_TRUE(environment.start(options, &error)) << qPrintable(error.description());
        serial = environment.serialNumbers().first();
    }
    void TearDown() override { environment.stop(); }

    qint64 bytesServed()
    {
        const qint64 bytes = environment.served("bytesServed");
        EXPECT_GE(bytes, 0) << "the service emulator's counters cannot be read";
        return bytes;
    }
    QString dataPath(const QString &relative) const { return environment.dataFolder() + QLatin1Char('/') + relative; }

    TinteraDemoEnvironment environment;
    QString serial;
};
