#include "VLXMLDictionary.h"

#include "VLQuietXmlErrors.h"

#include <QHash>
#include <QString>
#include <QVarLengthArray>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <utility>

namespace {

const QString kNameKey = QStringLiteral("name");
const QString kContentKey = QStringLiteral("content");
const QString kChildrenKey = QStringLiteral("children");

// libxml2's tree can only be this deep without XML_PARSE_HUGE (it stops at 256 levels); the
// guard keeps the recursion bounded even if a libxml2 build allows more.
constexpr int kMaxDepth = 1024;

// The dictionary of one node while it is being reduced. Replies hold a handful of keys per
// element, so a flat array with linear look-up beats a tree map here; only dictionaries that
// survive the reduction become QVariantMaps.
class NodeDictionary
{
public:
    QVariant *find(const QString &key)
    {
        for (auto &entry : m_entries) {
            // Keys are mostly the shared strings of the name cache: same data, same key.
            if ((entry.first.constData() == key.constData() && entry.first.size() == key.size()) || entry.first == key)
                return &entry.second;
        }
        return nullptr;
    }
    void set(const QString &key, QVariant value)
    {
        if (QVariant *existing = find(key))
            *existing = std::move(value);
        else
            m_entries.append({key, std::move(value)});
    }
    void remove(const QString &key)
    {
        for (qsizetype i = 0; i < m_entries.size(); ++i) {
            if (m_entries[i].first == key) {
                m_entries.remove(i);
                return;
            }
        }
    }
    qsizetype size() const { return m_entries.size(); }
    bool isEmpty() const { return m_entries.isEmpty(); }

    QVariantMap toVariantMap()
    {
        std::map<QString, QVariant> map;
        for (auto &entry : m_entries)
            map.emplace(std::move(entry.first), std::move(entry.second));
        m_entries.clear();
        return QVariantMap(std::move(map));
    }

private:
    QVarLengthArray<std::pair<QString, QVariant>, 12> m_entries;
};

// Tag names come from libxml2's dictionary, so equal names share one pointer: converting each
// distinct pointer once lets every record of a reply share the same key strings.
class NameCache
{
public:
    const QString &name(const xmlChar *utf8)
    {
        auto it = m_names.find(utf8);
        if (it == m_names.end())
            it = m_names.insert(utf8, QString::fromUtf8(reinterpret_cast<const char *>(utf8)));
        return it.value();
    }

private:
    QHash<const xmlChar *, QString> m_names;
};

bool isAsciiBlank(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Text with whitespace and newlines removed at both ends. Blank runs between elements are the
// common case, so ASCII blanks are stripped on the bytes before anything is converted.
QString trimmedText(const xmlChar *utf8)
{
    const char *begin = reinterpret_cast<const char *>(utf8);
    const char *end = begin + std::strlen(begin);
    while (begin < end && isAsciiBlank(static_cast<unsigned char>(*begin)))
        ++begin;
    while (end > begin && isAsciiBlank(static_cast<unsigned char>(end[-1])))
        --end;
    if (begin == end)
        return QString(QLatin1String(""));
    QString text = QString::fromUtf8(begin, end - begin);
    // Non-ASCII blanks (no-break space, line separator, ...) at either end need the full rule.
    if (static_cast<unsigned char>(*begin) >= 0x80 || static_cast<unsigned char>(end[-1]) >= 0x80)
        return std::move(text).trimmed();
    return text;
}

struct Reduction
{
    NameCache names;
};

bool isDocumentNode(xmlElementType type)
{
    return type == XML_DOCUMENT_NODE || type == XML_DOCUMENT_TYPE_NODE;
}

// Reduces one node. Returns false for a text node, whose trimmed text has been appended to the
// parent's "content" instead; otherwise fills `result` with the node's reduced dictionary.
bool DictionaryForNode(xmlNode *node, NodeDictionary *parentDictionary, NodeDictionary &result,
                       Reduction &reduction, int depth)
{
    const bool hasContent = node->content != nullptr
        && node->content != reinterpret_cast<xmlChar *>(~std::uintptr_t(0))
        && !isDocumentNode(node->type) && node->type != XML_HTML_DOCUMENT_NODE;
    // Text nodes (most nodes of a reply) only feed their parent; their own dictionary is never
    // looked at, so it is not built. A CDATA section is text written another way: it has no name
    // to file its text under, and dropping it would lose values such as a session id.
    const bool isText = node->type == XML_CDATA_SECTION_NODE
        || (node->name && std::strcmp(reinterpret_cast<const char *>(node->name), "text") == 0);
    if (hasContent && parentDictionary && isText) {
        QString text = trimmedText(node->content);
        if (QVariant *existing = parentDictionary->find(kContentKey))
            *existing = existing->toString() + text;
        else
            parentDictionary->set(kContentKey, std::move(text));
        return false;
    }

    // A leaf element holding only text, the bulk of every reply, reduces to one entry of its
    // parent and to an empty dictionary of its own; the general steps below give the same.
    xmlNode *only = node->children;
    if (node->type == XML_ELEMENT_NODE && node->name && parentDictionary && only && !only->next
        && only->type == XML_TEXT_NODE && only->name
        && std::strcmp(reinterpret_cast<const char *>(only->name), "text") == 0 && only->content
        && only->content != reinterpret_cast<xmlChar *>(~std::uintptr_t(0))) {
        QString text = trimmedText(only->content);
        if (!text.isEmpty())
            parentDictionary->set(reduction.names.name(node->name), std::move(text));
        return true;
    }

    if (node->name && !isDocumentNode(node->type))
        result.set(kNameKey, reduction.names.name(node->name));
    if (hasContent)
        result.set(kContentKey, QString::fromUtf8(reinterpret_cast<const char *>(node->content)));

    // An entity reference's children are the entity's shared declaration, not content of this
    // element: following them would walk the document type and expand nested entities without
    // bound. The reference contributes its replacement text (its content) and nothing else.
    if (node->children && node->type != XML_ENTITY_REF_NODE && depth < kMaxDepth) {
        QVariantList children;
        for (xmlNode *child = node->children; child; child = child->next) {
            NodeDictionary childDictionary;
            if (DictionaryForNode(child, &result, childDictionary, reduction, depth + 1)
                && !childDictionary.isEmpty())
                children.append(childDictionary.toVariantMap());
        }
        if (!children.isEmpty())
            result.set(kChildrenKey, std::move(children));
    }

    const QVariant *name = result.find(kNameKey);
    if (QVariant *content = result.find(kContentKey)) {
        QString text = content->toString();
        if (!text.isEmpty()) {
            // A node without a name has no key to put its text under; it is dropped.
            if (name) {
                const QString key = name->toString();
                if (parentDictionary)
                    parentDictionary->set(key, std::move(text));
                else
                    result.set(key, std::move(text));
            }
        }
        result.remove(kContentKey);
    }

    bool hasChildren = false;
    if (const QVariant *children = result.find(kChildrenKey)) {
        // Only an array can be empty here; a leaf child named "children" left a string behind.
        if (children->typeId() == QMetaType::QVariantList && children->toList().isEmpty())
            result.remove(kChildrenKey);
        else
            hasChildren = true;
    }
    if (result.size() == 1 || !hasChildren)
        result.remove(kNameKey);
    return true;
}

} // namespace

QVariantMap VLXMLDictionaryForXMLData(const char *bytes, qsizetype length)
{
    if (!bytes || length <= 0 || length > qsizetype(std::numeric_limits<int>::max()))
        return {};

    // Malformed replies are expected and handled by recovery; libxml2 would print every
    // complaint on stderr, so its error channel is muted for this thread while parsing.
    xmlDoc *document = nullptr;
    {
        const VLQuietXmlErrors quiet;
        document = xmlReadMemory(bytes, int(length), "", nullptr, XML_PARSE_RECOVER);
    }
    if (!document)
        return {};

    QVariantMap dictionary;
    if (xmlNode *root = xmlDocGetRootElement(document)) {
        Reduction reduction;
        NodeDictionary result;
        DictionaryForNode(root, nullptr, result, reduction, 0);
        dictionary = result.toVariantMap();
    }
    xmlFreeDoc(document);
    return dictionary;
}

QVariantMap VLXMLDictionaryForXMLData(const QByteArray &data)
{
    return VLXMLDictionaryForXMLData(data.constData(), data.size());
}
