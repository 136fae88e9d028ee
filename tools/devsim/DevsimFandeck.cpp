#include "DevsimFandeck.h"

#include "DevsimErrors.h"

#include <QFile>
#include <QXmlStreamReader>

bool devsimIsFandeckDocument(const QString &path, VLError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = devsimError(DevsimErrorNotAFandeck, QStringLiteral("The fandeck cannot be read."));
        return false;
    }
    QXmlStreamReader reader(&file);
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement) {
            if (reader.name() == QStringLiteral("CxF")
                && reader.namespaceUri() == QStringLiteral("http://colorexchangeformat.com/CxF3-core"))
                return true;
            break;
        }
    }
    *error = devsimError(DevsimErrorNotAFandeck, QStringLiteral("The fandeck is not a CxF3 document."));
    return false;
}
