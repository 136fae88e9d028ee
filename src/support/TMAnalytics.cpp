#include "TMAnalytics.h"

#include "Fabric.h"
#include "VLUserDefaults.h"

TMAnalytics *TMAnalytics::analytics()
{
    static TMAnalytics *instance = new TMAnalytics;
    return instance;
}

TMAnalytics::TMAnalytics()
{
    // The crash reporter reads the first of these when it starts, so they are registered before.
    VLUserDefaults::standardUserDefaults()->registerDefaults({
        {QStringLiteral("NSApplicationCrashOnExceptions"), true},
        {QStringLiteral("NSFullScreenMenuItemEverywhere"), false},
    });
    Fabric::with({Crashlytics::sharedInstance(), Answers::sharedInstance()});
}

void TMAnalytics::logEventParameters(const QString &eventName, const QVariantMap &parameters)
{
    if (eventName.isNull())
        return;
    Answers::logCustomEventWithName(eventName, parameters);
}

void TMAnalytics::logSearchEvent(const QString &query)
{
    Answers::logSearchWithQuery(query, {});
}
