#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// A link as users have it between the computer and the device (USB) or the sync service (a home
// or mobile connection): bandwidth each way and the round-trip time every exchange pays, with
// some jitter on it. Byte rates of 0 mean unlimited; "loopback" shapes nothing.
struct LinkProfile
{
    enum class Side { Any, Device, Service };

    QString name = QStringLiteral("loopback");
    Side side = Side::Any;
    qint64 downBytesPerSecond = 0; // towards the computer
    qint64 upBytesPerSecond = 0;   // from the computer
    qint64 roundTripMicros = 0;    // per request and answer; each direction carries half
    double jitter = 0;             // the latency of each message varies by up to this fraction

    bool isLoopback() const { return downBytesPerSecond == 0 && upBytesPerSecond == 0 && roundTripMicros == 0; }
    qint64 oneWayMicros() const { return roundTripMicros / 2; }

    // The time a request of `upBytes` and its answer of `downBytes` take on this link at the
    // least: both transfers plus the round trip (jitter averages out).
    qint64 exchangeMicros(qint64 upBytes, qint64 downBytes) const;
    static qint64 transferMicros(qint64 bytes, qint64 bytesPerSecond);

    static std::optional<LinkProfile> named(const QString &name);
    static QStringList names();
    QString description() const;
};

// The two links of a sync: "DEVICE+SERVICE" (for example "usb-full-speed+dsl"), or one name
// that goes to its own side ("dsl" puts the service behind DSL and leaves the device on
// loopback; "loopback" is both).
struct LinkSetting
{
    LinkProfile device;
    LinkProfile service;

    static std::optional<LinkSetting> parse(const QString &text, QString *error);
    QString name() const;
};
