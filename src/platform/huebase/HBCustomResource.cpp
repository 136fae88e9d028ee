#include "HBCustomResource.h"

#include "HBErrors.h"
#include "HBXml.h"

#include <QCoreApplication>

HBCustomResource::~HBCustomResource() = default;

namespace {

// Entity references in a copy carried into another document would name entities that document
// does not declare, and the file written from it could not be read again: each becomes the text
// it stands for in the source document.
void replaceEntityReferences(xmlNode *node, xmlDoc *source)
{
    for (xmlNode *child = node->children; child;) {
        xmlNode *next = child->next;
        if (child->type == XML_ENTITY_REF_NODE) {
            const QByteArray text = hbEntityText(source, child->name);
            xmlNode *replacement = xmlNewDocTextLen(node->doc, hbXmlText(text.constData()), int(text.size()));
            if (replacement) {
                xmlReplaceNode(child, replacement);
                xmlFreeNode(child);
            }
        } else if (child->type == XML_ELEMENT_NODE) {
            for (xmlAttr *attribute = child->properties; attribute; attribute = attribute->next)
                replaceEntityReferences(reinterpret_cast<xmlNode *>(attribute), source);
            replaceEntityReferences(child, source);
        }
        child = next;
    }
}

} // namespace

HBCustomResourcePtr HBForeignCustomResource::resourceWithElement(const _xmlNode *element)
{
    hbEnsureXmlInitialized();
    QSharedPointer<HBForeignCustomResource> resource(new HBForeignCustomResource);
    resource->m_document = xmlNewDoc(hbXmlText("1.0"));
    // Copying into a fresh document declares on the copy every namespace it borrowed from ancestors.
    xmlNode *copy = xmlDocCopyNode(const_cast<xmlNode *>(element), resource->m_document, 1);
    if (!copy)
        return {};
    xmlDocSetRootElement(resource->m_document, copy);
    for (xmlAttr *attribute = copy->properties; attribute; attribute = attribute->next)
        replaceEntityReferences(reinterpret_cast<xmlNode *>(attribute), element->doc);
    replaceEntityReferences(copy, element->doc);
    resource->m_namespaceURI = hbNamespaceOf(element);
    resource->m_localName = QString::fromUtf8(hbXmlChars(element->name));
    return resource;
}

HBForeignCustomResource::~HBForeignCustomResource()
{
    if (m_document)
        xmlFreeDoc(m_document);
}

QString HBForeignCustomResource::description() const
{
    return QStringLiteral("{%1}%2").arg(m_namespaceURI, m_localName);
}

bool HBForeignCustomResource::appendToCustomResources(_xmlNode *customResources, VLError *error) const
{
    xmlNode *root = xmlDocGetRootElement(m_document);
    xmlNode *copy = root ? xmlDocCopyNode(root, customResources->doc, 1) : nullptr;
    if (!copy || !xmlAddChild(customResources, copy)) {
        xmlFreeNode(copy);
        return hbFail(error, HBErrorWriteFailed,
                      QCoreApplication::translate("HBCustomResource", "Could not copy the custom resource %1")
                          .arg(description()));
    }
    xmlReconciliateNs(customResources->doc, copy);
    return true;
}

QByteArray HBForeignCustomResource::xmlText() const
{
    xmlBuffer *buffer = xmlBufferCreate();
    xmlNodeDump(buffer, m_document, xmlDocGetRootElement(m_document), 0, 0);
    QByteArray text(hbXmlChars(xmlBufferContent(buffer)), xmlBufferLength(buffer));
    xmlBufferFree(buffer);
    return text;
}
