#pragma once

#include "VLError.h"

#include <QString>
#include <QUrl>

// Where a file listed by the sync service may be fetched from: http or https only, and https only
// when the service itself is reached over https, so that nobody on the path can swap a file the
// service vouched for. A null error when `fileURL` may be fetched; otherwise the refusal, naming
// the file (`fileName`, or the URL's own name when empty) and the URL.
VLError vlFileURLRefusal(const QUrl &fileURL, const QUrl &serviceURL, const QString &fileName = {});
