#pragma once

// libxml2 helpers shared by the CxF3 reader and writer and the custom resources.

#include <libxml/tree.h>

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstring>
#include <memory>

inline constexpr const char *HBCxf3NamespaceURI = "http://colorexchangeformat.com/CxF3-core";

struct HBXmlDocFree {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
using HBXmlDocPtr = std::unique_ptr<xmlDoc, HBXmlDocFree>;

inline const char *hbXmlChars(const xmlChar *text)
{
    return reinterpret_cast<const char *>(text);
}

inline const xmlChar *hbXmlText(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

// True when the node is an element in the namespace with the local name (never by prefix).
inline bool hbIsElement(const xmlNode *node, const char *namespaceURI, const char *localName)
{
    return node && node->type == XML_ELEMENT_NODE && node->ns && node->ns->href &&
           std::strcmp(hbXmlChars(node->ns->href), namespaceURI) == 0 &&
           std::strcmp(hbXmlChars(node->name), localName) == 0;
}

inline bool hbIsCxfElement(const xmlNode *node, const char *localName)
{
    return hbIsElement(node, HBCxf3NamespaceURI, localName);
}

inline QString hbNamespaceOf(const xmlNode *node)
{
    return node->ns && node->ns->href ? QString::fromUtf8(hbXmlChars(node->ns->href)) : QString();
}

// What the entity references of one document may expand to, in bytes of text plus one per node
// walked (so that references to empty entities cost too). The parser leaves references in place
// (the colour stream needs its events), and this code expands them: nested entities can make a
// few kilobytes stand for gigabytes, so every expansion of a document draws on its budget and
// stops, marking it exceeded, once it is spent. A document's budget is found through its
// `_private`; one without gets a budget of kBase per expansion.
class HBEntityBudget
{
public:
    static constexpr qint64 kBase = 1024 * 1024;
    static constexpr qint64 kPerDocumentByte = 4;
    // A few times the document plus a constant: ordinary use of entities (names, symbols) fits.
    explicit HBEntityBudget(qint64 documentBytes)
        : m_limit(kBase + kPerDocumentByte * std::max<qint64>(documentBytes, 0))
    {
    }
    bool spend(qint64 cost)
    {
        m_spent += cost;
        m_exceeded = m_exceeded || m_spent > m_limit;
        return !m_exceeded;
    }
    bool exceeded() const { return m_exceeded; }
    qint64 limit() const { return m_limit; }

private:
    qint64 m_limit;
    qint64 m_spent = 0;
    bool m_exceeded = false;
};

// The text of the nodes from `first` on (of `first` alone unless `siblings`), as libxml2's
// xmlNodeGetContent would give it, entity references expanded against `budget` (the document's
// budget when null).
QByteArray hbNodeText(const xmlNode *first, bool siblings, HBEntityBudget *budget = nullptr);
// The text an entity reference by that name stands for in the document.
QByteArray hbEntityText(xmlDoc *document, const xmlChar *name, HBEntityBudget *budget = nullptr);

// Value of an unqualified attribute; a null QString when absent.
inline QString hbAttribute(const xmlNode *node, const char *name)
{
    for (const xmlAttr *attribute = node->properties; attribute; attribute = attribute->next) {
        if (attribute->ns == nullptr && std::strcmp(hbXmlChars(attribute->name), name) == 0) {
            const xmlNode *text = attribute->children;
            if (text && !text->next && text->type == XML_TEXT_NODE)
                return QString::fromUtf8(hbXmlChars(text->content));
            return QString::fromUtf8(hbNodeText(attribute->children, true));
        }
    }
    return {};
}

// Whole text content of an element.
inline QByteArray hbTextContent(const xmlNode *node)
{
    const xmlNode *child = node->children;
    if (child && !child->next && child->type == XML_TEXT_NODE)
        return QByteArray(hbXmlChars(child->content));
    return hbNodeText(node->children, true);
}

inline const xmlNode *hbFirstChildElement(const xmlNode *node)
{
    for (const xmlNode *child = node->children; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE)
            return child;
    }
    return nullptr;
}

inline const xmlNode *hbNextElement(const xmlNode *node)
{
    for (const xmlNode *next = node->next; next; next = next->next) {
        if (next->type == XML_ELEMENT_NODE)
            return next;
    }
    return nullptr;
}

// First child element in the CxF3 namespace with the local name, or null.
inline const xmlNode *hbCxfChild(const xmlNode *node, const char *localName)
{
    for (const xmlNode *child = hbFirstChildElement(node); child; child = hbNextElement(child)) {
        if (hbIsCxfElement(child, localName))
            return child;
    }
    return nullptr;
}

// UTF-8 of the text with every character XML 1.0 cannot carry (NUL and the other C0 controls
// except tab, line feed and carriage return, unpaired surrogates, U+FFFE, U+FFFF) replaced by
// U+FFFD, so that a written document always reads back; each replacement is logged with `where`.
// Every text the writers put into a document goes through here.
QByteArray hbXmlCharacters(const QString &text, const char *where);
QByteArray hbXmlCharacters(const QByteArray &utf8, const char *where);

inline void hbSetAttribute(xmlNode *node, const char *name, const QString &value)
{
    xmlNewProp(node, hbXmlText(name), hbXmlText(hbXmlCharacters(value, name).constData()));
}

// A child element with text content; the text is escaped by libxml2.
inline xmlNode *hbAddTextChild(xmlNode *parent, xmlNs *ns, const char *name, const QByteArray &utf8)
{
    return xmlNewTextChild(parent, ns, hbXmlText(name), hbXmlText(hbXmlCharacters(utf8, name).constData()));
}

inline xmlNode *hbAddTextChild(xmlNode *parent, xmlNs *ns, const char *name, const QString &text)
{
    return xmlNewTextChild(parent, ns, hbXmlText(name), hbXmlText(hbXmlCharacters(text, name).constData()));
}

// Valid xs:NCName for identifiers and attribute names (ASCII subset, which is all we generate).
bool hbIsNCName(const QString &name);

// Makes sure libxml2 is initialised once before threads use it.
void hbEnsureXmlInitialized();

