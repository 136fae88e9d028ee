#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

// The application's information dictionary: the "Info.plist" compiled into the program
// ("CFBundleName", "CFBundleShortVersionString", "CFBundleVersion", "VLSyncProductionURL", ...).
QVariantMap vlApplicationInfo();
QVariant vlApplicationInfoValue(const QString &key);

extern const QString VLSyncProductionURLKey;
extern const QString VLSyncServiceURLEnvironmentVariable;

// Base URL of the sync web service, without a trailing "/": the override set from the command
// line if any, else TINTERA_SERVICE_URL if set and not empty, else the stored "VLSyncServiceURL"
// setting (VLServiceSettings.h), else "VLSyncProductionURL".
QString vlSyncProductionURL();
// Front ends call this with the URL given on their command line; an empty string removes it.
void vlSetSyncProductionURLOverride(const QString &url);

// What --version prints: "<program> (<CFBundleName>) <CFBundleShortVersionString> build
// <CFBundleVersion>", e.g. "tintera (TINTERA Sync) 1.0.0 build 100".
QString vlApplicationVersionLine(const QString &programName);
