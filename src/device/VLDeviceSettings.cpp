#include "VLDeviceSettings.h"

#include "HBXml.h"
#include "VLQuietXmlErrors.h"

#include "VLDeviceVocabulary.h"

#include <libxml/parser.h>
#include <libxml/xpath.h>

#include <QList>

#include <limits>
#include <memory>
#include <utility>

namespace {

struct DocumentDeleter
{
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
struct ContextDeleter
{
    void operator()(xmlXPathContext *context) const { xmlXPathFreeContext(context); }
};
struct ObjectDeleter
{
    void operator()(xmlXPathObject *object) const { xmlXPathFreeObject(object); }
};

QString lastNodeText(xmlXPathContext *context, const char *path)
{
    std::unique_ptr<xmlXPathObject, ObjectDeleter> result(
        xmlXPathEvalExpression(reinterpret_cast<const xmlChar *>(path), context));
    if (!result || !result->nodesetval || result->nodesetval->nodeNr == 0)
        return {};
    const xmlNode *last = result->nodesetval->nodeTab[result->nodesetval->nodeNr - 1];
    // The document's entity budget bounds what nested entities may expand to.
    const QString text = QString::fromUtf8(hbNodeText(last, false)).trimmed();
    return text.isNull() ? QStringLiteral("") : text; // found but empty is not absent
}

} // namespace

VLDeviceSettings VLDeviceSettings::fromXml(const QByteArray &xml)
{
    VLDeviceSettings settings;
    if (xml.isEmpty() || xml.size() > std::numeric_limits<int>::max())
        return settings;
    // No network access and no entity expansion: the file comes from outside. What is wrong with it
    // is the caller's to report (unparsed), not libxml2's on stderr.
    const VLQuietXmlErrors quiet;
    std::unique_ptr<xmlDoc, DocumentDeleter> document(
        xmlReadMemory(xml.constData(), int(xml.size()), nullptr, nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR
                                                                             | XML_PARSE_NOWARNING));
    if (!document || !xmlDocGetRootElement(document.get()))
        return settings;
    HBEntityBudget budget(xml.size());
    document->_private = &budget;
    std::unique_ptr<xmlXPathContext, ContextDeleter> context(xmlXPathNewContext(document.get()));
    if (!context)
        return settings;
    // Relative paths are evaluated from the root element.
    context->node = xmlDocGetRootElement(document.get());
    settings.parsed = true;
    settings.matchPerformanceTolerance = lastNodeText(context.get(), "//MatchPerformanceTolerance");
    settings.priorityFandeckID = lastNodeText(context.get(), "PriorityFandeck//ID");
    settings.priorityFandeckOffset = lastNodeText(context.get(), "PriorityFandeck//Offset");
    settings.weightL = lastNodeText(context.get(), "DEWeightFactor//L");
    settings.weightC = lastNodeText(context.get(), "DEWeightFactor//C");
    settings.weightH = lastNodeText(context.get(), "DEWeightFactor//H");
    return settings;
}

KDCommandPtr VLDeviceSettings::deltaECommand() const
{
    using namespace VLDeviceVocabulary::Argument;
    return VLDeviceVocabulary::deltaECommand({
        {MatchPerformanceTolerance, matchPerformanceTolerance},
        {PriorityFandeckOffset, priorityFandeckOffset},
        {DEWeightFactorL, weightL},
        {DEWeightFactorC, weightC},
        {DEWeightFactorH, weightH},
    });
}
