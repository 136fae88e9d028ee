#pragma once

#include <QString>

extern const QString VLSyncURLScheme;

// The scheme of a URL exactly as written (QUrl lowers its case, which would let "X-TINTERA-SYNC:"
// pass); empty when the text does not begin with a scheme.
QString vlURLSchemeAsWritten(const QString &url);
// True when the URL's scheme is "x-tintera-sync", compared case-sensitively.
bool vlIsSyncURL(const QString &url);
