#include "HBCxfObjectStream.h"

#include "HBXml.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

xmlParserCtxt *parserContext(void *context)
{
    return static_cast<xmlParserCtxt *>(context);
}

} // namespace

bool hbCxfParseNumberList(const char *text, QList<double> *values)
{
    const char *p = text;
    const char *end = text + std::strlen(text);
    while (true) {
        while (p < end && isSpace(*p))
            ++p;
        if (p == end)
            return true;
        const char *tokenEnd = p;
        while (tokenEnd < end && !isSpace(*tokenEnd))
            ++tokenEnd;
        double value = 0;
        const char *start = (*p == '+') ? p + 1 : p;
        const auto [last, ec] = std::from_chars(start, tokenEnd, value);
        if (ec != std::errc() || last != tokenEnd || !std::isfinite(value))
            return false;
        values->append(value);
        p = tokenEnd;
    }
}

HBCxfObjectStream::HBCxfObjectStream(xmlParserCtxt *context, HBEntityBudget *budget)
    : m_context(context)
    , m_budget(budget)
{
    // Set after the parser options: those reinstall the default whitespace handler.
    context->_private = this;
    xmlSAXHandler *sax = context->sax;
    sax->startElementNs = &HBCxfObjectStream::startElement;
    sax->endElementNs = &HBCxfObjectStream::endElement;
    sax->characters = &HBCxfObjectStream::characters;
    sax->ignorableWhitespace = &HBCxfObjectStream::ignorableWhitespace;
    sax->cdataBlock = &HBCxfObjectStream::cdataBlock;
    sax->reference = &HBCxfObjectStream::reference;
    sax->comment = &HBCxfObjectStream::comment;
    sax->processingInstruction = &HBCxfObjectStream::processingInstruction;
}

HBCxfObjectStream::~HBCxfObjectStream()
{
    m_context->_private = nullptr;
}

HBCxfObjectStream *HBCxfObjectStream::ownerOf(void *context)
{
    // The parser runs an entity's replacement text through the same handlers, with a context of
    // its own, to build the entity's tree: that always goes to the tree builder.
    auto *stream = static_cast<HBCxfObjectStream *>(parserContext(context)->_private);
    return stream && stream->m_context == context ? stream : nullptr;
}

HBCxfObjectStream *HBCxfObjectStream::inObject(void *context)
{
    HBCxfObjectStream *stream = ownerOf(context);
    return stream && !stream->m_frames.isEmpty() ? stream : nullptr;
}

bool HBCxfObjectStream::startsObject(const unsigned char *localName, const unsigned char *uri)
{
    if (!uri || std::strcmp(hbXmlChars(uri), HBCxf3NamespaceURI) != 0 ||
        std::strcmp(hbXmlChars(localName), "Object") != 0)
        return false;
    const xmlNode *parent = m_context->node;
    if (!parent)
        return false;
    if (m_collection)
        return parent == m_collection;
    // The reader takes the first Resources of the root and the first ObjectCollection in it; the
    // tree holds everything before this element, so "first" can be told now.
    const xmlNode *resources = parent->parent;
    const xmlNode *root = m_context->myDoc ? xmlDocGetRootElement(m_context->myDoc) : nullptr;
    if (!hbIsCxfElement(parent, "ObjectCollection") || !resources || resources->parent != root || !root ||
        hbCxfChild(root, "Resources") != resources || hbCxfChild(resources, "ObjectCollection") != parent)
        return false;
    m_collection = parent;
    return true;
}

void HBCxfObjectStream::startElement(void *context, const unsigned char *localName, const unsigned char *prefix,
                                     const unsigned char *uri, int namespaceCount, const unsigned char **namespaces,
                                     int attributeCount, int defaultedCount, const unsigned char **attributes)
{
    HBCxfObjectStream *stream = inObject(context);
    if (!stream) {
        HBCxfObjectStream *candidate = ownerOf(context);
        if (!candidate || !candidate->startsObject(localName, uri)) {
            xmlSAX2StartElementNs(context, localName, prefix, uri, namespaceCount, namespaces, attributeCount,
                                  defaultedCount, attributes);
            return;
        }
        stream = candidate;
    }
    // The tree leaves out attributes that only the DTD supplies; so does this.
    const int ownAttributes = (parserContext(context)->loadsubset & XML_COMPLETE_ATTRS) ? attributeCount
                                                                                          : attributeCount - defaultedCount;
    const bool inCxf = uri && std::strcmp(hbXmlChars(uri), HBCxf3NamespaceURI) == 0;
    const Frame frame = stream->m_frames.isEmpty() ? Frame::Object
                                                   : stream->frameFor(stream->m_frames.last(), hbXmlChars(localName), inCxf);
    stream->m_frames.append(frame);
    stream->open(frame, ownAttributes, attributes);
    if (frame == Frame::Other && inCxf && stream->m_frames.size() >= 2 &&
        stream->m_frames.at(stream->m_frames.size() - 2) == Frame::ColorValues)
        ++stream->m_skippedValueCounts[QString::fromUtf8(hbXmlChars(localName))];
}

HBCxfObjectStream::Frame HBCxfObjectStream::frameFor(Frame parent, const char *localName, bool inCxfNamespace) const
{
    if (!inCxfNamespace)
        return Frame::Other;
    auto is = [localName](const char *name) { return std::strcmp(localName, name) == 0; };
    switch (parent) {
    case Frame::Object:
        if (is("CreationDate"))
            return Frame::CreationDate;
        if (is("ColorValues"))
            return Frame::ColorValues;
        if (is("TagCollection"))
            return Frame::TagCollection;
        break;
    case Frame::ColorValues:
        if (is("ReflectanceSpectrum"))
            return Frame::Reflectance;
        if (is("CustomSpectrum"))
            return Frame::CustomSpectrum;
        if (is("ColorCIELab"))
            return Frame::Lab;
        break;
    case Frame::CustomSpectrum:
        if (is("SpectralPoint"))
            return Frame::SpectralPoint;
        break;
    case Frame::Lab:
        if (is("L"))
            return Frame::LabL;
        if (is("A"))
            return Frame::LabA;
        if (is("B"))
            return Frame::LabB;
        break;
    case Frame::TagCollection:
        if (is("Tag"))
            return Frame::Tag;
        break;
    default:
        break;
    }
    return Frame::Other;
}

void HBCxfObjectStream::open(Frame frame, int attributeCount, const unsigned char **attributes)
{
    // Every element whose text is read is a leaf of the object's structure, so at most one collects.
    auto startCollecting = [this] {
        if (m_collectingDepth < 0) {
            m_collectingDepth = int(m_frames.size());
            m_text.clear();
        }
    };
    auto lastValues = [this]() -> QList<HBCxfStreamedValue> & {
        return std::get<HBCxfStreamedColorValues>(m_object.parts.last()).values;
    };
    auto value = [&](const char *name) { return attribute(attributeCount, attributes, name); };
    switch (frame) {
    case Frame::Object:
        m_object = {};
        m_object.id = value("Id");
        m_object.name = value("Name");
        m_object.guid = value("GUID");
        m_object.objectType = value("ObjectType");
        break;
    case Frame::CreationDate:
    case Frame::LabL:
    case Frame::LabA:
    case Frame::LabB:
        startCollecting();
        break;
    case Frame::ColorValues:
        m_object.parts.append(HBCxfStreamedColorValues{});
        break;
    case Frame::TagCollection:
        m_object.parts.append(HBCxfStreamedTagCollection{});
        break;
    case Frame::Reflectance:
        startCollecting();
        lastValues().append(
            HBCxfStreamedReflectance{value("ColorSpecification"), value("StartWL"), value("Increment"), value("EndWL"), {}, true});
        break;
    case Frame::CustomSpectrum:
        lastValues().append(HBCxfStreamedCustomSpectrum{value("ColorSpecification"), {}});
        break;
    case Frame::Lab:
        lastValues().append(HBCxfStreamedLab{value("ColorSpecification"), {}, {}, {}});
        break;
    case Frame::SpectralPoint:
        startCollecting();
        std::get<HBCxfStreamedCustomSpectrum>(lastValues().last()).points.append({value("WL"), {}});
        break;
    case Frame::Tag:
        // All a tag holds is in its attributes.
        if (const QString name = value("Name"); !name.isEmpty())
            std::get<HBCxfStreamedTagCollection>(m_object.parts.last()).tags.append({name, value("Value")});
        break;
    case Frame::Other:
        break;
    }
}

void HBCxfObjectStream::endElement(void *context, const unsigned char *localName, const unsigned char *prefix,
                                   const unsigned char *uri)
{
    HBCxfObjectStream *stream = inObject(context);
    if (!stream) {
        xmlSAX2EndElementNs(context, localName, prefix, uri);
        return;
    }
    const Frame frame = stream->m_frames.last();
    stream->close(frame);
    stream->m_frames.removeLast();
    if (stream->m_frames.isEmpty())
        stream->m_objects.append(std::move(stream->m_object));
}

void HBCxfObjectStream::close(Frame frame)
{
    if (m_collectingDepth != int(m_frames.size()))
        return;
    m_collectingDepth = -1;
    auto lastValue = [this]() -> HBCxfStreamedValue & {
        return std::get<HBCxfStreamedColorValues>(m_object.parts.last()).values.last();
    };
    switch (frame) {
    case Frame::CreationDate:
        m_object.parts.append(HBCxfStreamedCreationDate{m_text});
        break;
    case Frame::Reflectance: {
        // Parsed into one reused buffer, then kept at their exact size: a fandeck holds thousands
        // of spectra for as long as it stays loaded.
        auto &spectrum = std::get<HBCxfStreamedReflectance>(lastValue());
        m_numberScratch.clear();
        spectrum.numbersParsed = hbCxfParseNumberList(m_text.constData(), &m_numberScratch);
        if (spectrum.numbersParsed)
            spectrum.values = QList<double>(m_numberScratch.cbegin(), m_numberScratch.cend());
        break;
    }
    case Frame::SpectralPoint:
        std::get<HBCxfStreamedCustomSpectrum>(lastValue()).points.last().text = m_text;
        break;
    case Frame::LabL:
    case Frame::LabA:
    case Frame::LabB: {
        auto &lab = std::get<HBCxfStreamedLab>(lastValue());
        std::optional<QByteArray> &slot = frame == Frame::LabL ? lab.L : frame == Frame::LabA ? lab.A : lab.B;
        if (!slot)
            slot = m_text;
        break;
    }
    default:
        break;
    }
}

QString HBCxfObjectStream::attribute(int attributeCount, const unsigned char **attributes, const char *name) const
{
    // Each attribute is five pointers: local name, prefix, namespace, value start, value end.
    for (int i = 0; i < attributeCount; ++i) {
        const unsigned char **entry = attributes + 5 * i;
        if (entry[2] || std::strcmp(hbXmlChars(entry[0]), name) != 0)
            continue;
        const char *value = hbXmlChars(entry[3]);
        const int length = int(entry[4] - entry[3]);
        if (length == 0)
            return QString::fromUtf8("");
        if (!std::memchr(value, '&', size_t(length)))
            return QString::fromUtf8(value, length);
        // The parser leaves entity references in the value for the tree to resolve; resolved the
        // same way here.
        xmlNode *nodes = xmlStringLenGetNodeList(m_context->myDoc, entry[3], length);
        QString result = QString::fromUtf8(hbNodeText(nodes, true, m_budget));
        xmlFreeNodeList(nodes);
        return result;
    }
    return {};
}

void HBCxfObjectStream::collect(const char *text, int length)
{
    if (m_collectingDepth >= 0 && length > 0)
        m_text.append(text, length);
}

void HBCxfObjectStream::characters(void *context, const unsigned char *text, int length)
{
    if (HBCxfObjectStream *stream = inObject(context))
        stream->collect(hbXmlChars(text), length);
    else
        xmlSAX2Characters(context, text, length);
}

// Inside an object whitespace is text like any other: the tree keeps it in the leaf elements
// whose text is read, and elsewhere it only separates numbers.
void HBCxfObjectStream::ignorableWhitespace(void *context, const unsigned char *text, int length)
{
    if (HBCxfObjectStream *stream = inObject(context))
        stream->collect(hbXmlChars(text), length);
    else
        xmlSAX2IgnorableWhitespace(context, text, length);
}

void HBCxfObjectStream::cdataBlock(void *context, const unsigned char *text, int length)
{
    if (HBCxfObjectStream *stream = inObject(context))
        stream->collect(hbXmlChars(text), length);
    else
        xmlSAX2CDataBlock(context, text, length);
}

void HBCxfObjectStream::reference(void *context, const unsigned char *name)
{
    HBCxfObjectStream *stream = inObject(context);
    if (!stream) {
        xmlSAX2Reference(context, name);
        return;
    }
    if (stream->m_collectingDepth < 0)
        return;
    // The entity's text as the tree would give it for a reference to it.
    const QByteArray text = hbEntityText(stream->m_context->myDoc, name, stream->m_budget);
    stream->collect(text.constData(), int(text.size()));
}

void HBCxfObjectStream::comment(void *context, const unsigned char *text)
{
    if (!inObject(context))
        xmlSAX2Comment(context, text);
}

void HBCxfObjectStream::processingInstruction(void *context, const unsigned char *target, const unsigned char *data)
{
    if (!inObject(context))
        xmlSAX2ProcessingInstruction(context, target, data);
}
