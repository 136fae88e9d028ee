#include "HBXml.h"

#include <libxml/parser.h>

#include <mutex>

bool hbIsNCName(const QString &name)
{
    return !name.isEmpty() && xmlValidateNCName(hbXmlText(name.toUtf8().constData()), 0) == 0;
}

void hbEnsureXmlInitialized()
{
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
}
