#include "HBResourceEntries.h"

#include "HBConstants.h"

#include <QDateTime>

namespace {

QString textOfValue(const QVariant &value)
{
    if (value.metaType().id() == QMetaType::QDateTime)
        return value.toDateTime().toUTC().toString(Qt::ISODateWithMs);
    if (value.metaType().id() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return value.toString();
}

const HBEntryField *fieldForKey(const QList<HBEntryField> &fields, const QString &key)
{
    for (const HBEntryField &field : fields) {
        if (field.key == key)
            return &field;
    }
    return nullptr;
}

const HBEntryField *fieldForAttribute(const QList<HBEntryField> &fields, const char *attribute)
{
    for (const HBEntryField &field : fields) {
        if (std::strcmp(field.attribute, attribute) == 0)
            return &field;
    }
    return nullptr;
}

} // namespace

xmlNode *hbAppendCustomResourceElement(xmlNode *parent, const char *localName)
{
    const QByteArray uri = HBCustomResourceNamespaceURI.toUtf8();
    xmlNode *element = xmlNewChild(parent, nullptr, hbXmlText(localName), nullptr);
    xmlNs *ns = xmlSearchNsByHref(parent->doc, parent, hbXmlText(uri.constData()));
    if (!ns)
        ns = xmlNewNs(element, hbXmlText(uri.constData()), hbXmlText("tx"));
    xmlSetNs(element, ns);
    return element;
}

xmlNode *hbAppendEntryElement(xmlNode *parent, const char *localName, const QVariantMap &entry,
                              const QList<HBEntryField> &fields)
{
    xmlNode *element = hbAppendCustomResourceElement(parent, localName);
    xmlNs *ns = element->ns;
    // Known fields first, in their declared order, so the output does not depend on key spelling.
    for (const HBEntryField &field : fields) {
        const auto it = entry.constFind(field.key);
        if (it != entry.cend() && it.value().isValid())
            hbSetAttribute(element, field.attribute, textOfValue(it.value()));
    }
    for (auto it = entry.cbegin(); it != entry.cend(); ++it) {
        if (fieldForKey(fields, it.key()) || !it.value().isValid())
            continue;
        const QByteArray key = it.key().toUtf8();
        if (hbIsNCName(it.key()) && !fieldForAttribute(fields, key.constData()) &&
            !xmlHasProp(element, hbXmlText(key.constData()))) {
            hbSetAttribute(element, key.constData(), textOfValue(it.value()));
        } else {
            xmlNode *value = hbAddTextChild(element, ns, "Value", textOfValue(it.value()));
            hbSetAttribute(value, "Key", it.key());
        }
    }
    return element;
}

QVariantMap hbReadEntryElement(const xmlNode *element, const QList<HBEntryField> &fields, const QStringList &dateKeys)
{
    QVariantMap entry;
    for (const xmlAttr *attribute = element->properties; attribute; attribute = attribute->next) {
        if (attribute->ns)
            continue;
        const char *name = hbXmlChars(attribute->name);
        const HBEntryField *field = fieldForAttribute(fields, name);
        const QString key = field ? field->key : QString::fromUtf8(name);
        entry.insert(key, hbAttribute(element, name));
    }
    for (const xmlNode *child = hbFirstChildElement(element); child; child = hbNextElement(child)) {
        if (child->ns && element->ns && child->ns->href && element->ns->href &&
            xmlStrEqual(child->ns->href, element->ns->href) && xmlStrEqual(child->name, hbXmlText("Value"))) {
            const QString key = hbAttribute(child, "Key");
            if (!key.isNull())
                entry.insert(key, QString::fromUtf8(hbTextContent(child)));
        }
    }
    for (const QString &key : dateKeys) {
        const auto it = entry.find(key);
        if (it == entry.end())
            continue;
        const QDateTime date = QDateTime::fromString(it.value().toString(), Qt::ISODateWithMs);
        if (date.isValid())
            it.value() = date;
    }
    return entry;
}

QString hbDescribeEntry(const QVariantMap &entry)
{
    QStringList parts;
    for (auto it = entry.cbegin(); it != entry.cend(); ++it)
        parts << QStringLiteral("%1=%2").arg(it.key(), textOfValue(it.value()));
    return QStringLiteral("{") + parts.join(QStringLiteral(", ")) + QStringLiteral("}");
}
