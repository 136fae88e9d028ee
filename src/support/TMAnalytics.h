#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

// Starts crash reporting and usage analytics once, and forwards named usage events to them.
class TMAnalytics : public QObject
{
    Q_OBJECT
public:
    // The first call registers the two fallback defaults and starts the kits; make it early.
    static TMAnalytics *analytics();

    void logEventParameters(const QString &eventName, const QVariantMap &parameters = {});
    void logSearchEvent(const QString &query);

private:
    TMAnalytics();
};
