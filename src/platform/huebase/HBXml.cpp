#include "HBXml.h"

#include "TSLogger.h"

#include <libxml/entities.h>
#include <libxml/parser.h>

#include <mutex>

namespace {

constexpr char16_t kReplacementCharacter = 0xFFFD;

bool isXmlCharacter(char16_t unit)
{
    return unit >= 0x20 ? unit != 0xFFFE && unit != 0xFFFF : unit == 0x9 || unit == 0xA || unit == 0xD;
}

// Entities nest at most 40 deep in what libxml2 accepts; the walk stops well past that.
constexpr int kMaxTextDepth = 256;

void appendNodeText(QByteArray *text, const xmlNode *node, bool siblings, HBEntityBudget *budget, int depth)
{
    for (; node; node = siblings ? node->next : nullptr) {
        if (!budget->spend(1))
            return;
        switch (node->type) {
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
            if (node->content) {
                const qsizetype length = qsizetype(std::strlen(hbXmlChars(node->content)));
                if (!budget->spend(length))
                    return;
                text->append(hbXmlChars(node->content), length);
            }
            break;
        case XML_ELEMENT_NODE:
            if (depth < kMaxTextDepth)
                appendNodeText(text, node->children, true, budget, depth + 1);
            break;
        case XML_ENTITY_REF_NODE: {
            const xmlEntity *entity = xmlGetDocEntity(node->doc, node->name);
            if (!entity)
                break;
            if (entity->etype == XML_INTERNAL_PREDEFINED_ENTITY) {
                if (entity->content && budget->spend(entity->length))
                    text->append(hbXmlChars(entity->content), entity->length);
            } else if (depth < kMaxTextDepth && entity->children
                       && entity->children != reinterpret_cast<const xmlNode *>(-1)) {
                appendNodeText(text, entity->children, true, budget, depth + 1);
            }
            break;
        }
        default:
            break;
        }
        if (budget->exceeded())
            return;
    }
}

HBEntityBudget *budgetOf(const xmlDoc *document)
{
    return document ? static_cast<HBEntityBudget *>(document->_private) : nullptr;
}

} // namespace

QByteArray hbNodeText(const xmlNode *first, bool siblings, HBEntityBudget *budget)
{
    HBEntityBudget own(0);
    if (!budget)
        budget = first ? budgetOf(first->doc) : nullptr;
    QByteArray text;
    appendNodeText(&text, first, siblings, budget ? budget : &own, 0);
    return text;
}

QByteArray hbEntityText(xmlDoc *document, const xmlChar *name, HBEntityBudget *budget)
{
    xmlNode *reference = document ? xmlNewReference(document, name) : nullptr;
    if (!reference)
        return {};
    QByteArray text = hbNodeText(reference, false, budget ? budget : budgetOf(document));
    xmlFreeNode(reference);
    return text;
}

QByteArray hbXmlCharacters(const QString &text, const char *where)
{
    QString cleaned;
    qsizetype replaced = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t unit = text.at(i).unicode();
        const bool pair = QChar::isHighSurrogate(unit) && i + 1 < text.size() && QChar::isLowSurrogate(text.at(i + 1).unicode());
        const qsizetype width = pair ? 2 : 1;
        const bool keep = pair || (!QChar::isSurrogate(unit) && isXmlCharacter(unit));
        if (!keep && !replaced)
            cleaned = text.left(i);
        if (!keep) {
            ++replaced;
            cleaned.append(QChar(kReplacementCharacter));
        } else if (replaced) {
            cleaned.append(text.constData() + i, width);
        }
        i += width - 1;
    }
    if (!replaced)
        return text.toUtf8();
    VL_LOG("%s: %lld character(s) that XML cannot carry replaced by U+FFFD in \"%@\"", where, qint64(replaced),
           cleaned);
    return cleaned.toUtf8();
}

QByteArray hbXmlCharacters(const QByteArray &utf8, const char *where)
{
    for (const char byte : utf8) {
        const auto unit = static_cast<unsigned char>(byte);
        if (unit < 0x20 || unit >= 0x7F) // anything but printable ASCII gets the full check
            return hbXmlCharacters(QString::fromUtf8(utf8), where);
    }
    return utf8;
}

bool hbIsNCName(const QString &name)
{
    return !name.isEmpty() && xmlValidateNCName(hbXmlText(name.toUtf8().constData()), 0) == 0;
}

void hbEnsureXmlInitialized()
{
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
}

