#pragma once

#include "TinteraDemoEnvironment.h"

#include <QJsonDocument>
#include <QJsonObject>

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
        QByteArray reply;
        environment.cloudsimControl("stats", &reply, nullptr);
        qint64 total = 0;
        const QJsonObject files = QJsonDocument::fromJson(reply).object().value("files").toObject();
        for (auto it = files.begin(); it != files.end(); ++it)
            total += it->toObject().value("bytesServed").toInteger();
        return total;
    }
    QString dataPath(const QString &relative) const { return environment.dataFolder() + QLatin1Char('/') + relative; }

    TinteraDemoEnvironment environment;
    QString serial;
};
