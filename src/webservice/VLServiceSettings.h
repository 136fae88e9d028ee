#pragma once

#include "VLError.h"

#include <QString>

// The service settings of this user, kept in the data folder ("Service.plist") so that the tray
// application and the command line read the same ones:
//   "VLSyncServiceURL"    base URL of the sync service (see vlSyncProductionURL for the order)
//   "VLSyncTrustedCAFile" a PEM file of CA certificates trusted beside the system's
//   "VLRequireSignedFiles" "YES" when files the service did not sign are refused
// An empty value means "not set".
namespace VLServiceSettings {

extern const QString ServiceURLKey;
extern const QString TrustedCAFileKey;
extern const QString RequireSignedFilesKey;

QString path();
QString value(const QString &key);
// Checks the value (a service URL: http or https with a host; a CA file: readable, with at least
// one certificate, stored as an absolute path) and stores it; an empty value removes the setting.
bool setValue(const QString &key, const QString &value, VLError *error);

// The error for a service URL that cannot be used, or null.
VLError serviceURLError(const QString &url);

} // namespace VLServiceSettings
