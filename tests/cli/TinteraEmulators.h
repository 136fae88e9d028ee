#pragma once

#include "TinteraDemoEnvironment.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

// One figure of the service emulator's statistics ("bytesServed", "requests"), summed over its files.
inline qint64 servedTotal(TinteraDemoEnvironment &environment, const char *figure)
{
    QByteArray reply;
    environment.cloudsimControl("stats", &reply, nullptr);
    qint64 total = 0;
    const QJsonObject files = QJsonDocument::fromJson(reply).object().value("files").toObject();
    for (auto it = files.begin(); it != files.end(); ++it)
        total += it->toObject().value(QLatin1String(figure)).toInteger();
    return total;
}

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

    qint64 bytesServed() { return servedTotal(environment, "bytesServed"); }
    QString dataPath(const QString &relative) const { return environment.dataFolder() + QLatin1Char('/') + relative; }

    TinteraDemoEnvironment environment;
    QString serial;
};
