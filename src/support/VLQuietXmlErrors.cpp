#include "VLQuietXmlErrors.h"

#include <libxml/globals.h>
#include <libxml/xmlerror.h>

namespace {
void ignoreXmlError(void *, xmlErrorPtr)
{
}
} // namespace

VLQuietXmlErrors::VLQuietXmlErrors()
    : m_previousHandler(reinterpret_cast<void (*)()>(xmlStructuredError))
    , m_previousContext(xmlStructuredErrorContext)
{
    xmlSetStructuredErrorFunc(nullptr, ignoreXmlError);
}

VLQuietXmlErrors::~VLQuietXmlErrors()
{
    xmlSetStructuredErrorFunc(m_previousContext, reinterpret_cast<xmlStructuredErrorFunc>(m_previousHandler));
}
