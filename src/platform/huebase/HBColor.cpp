#include "HBColor.h"

#include "HBErrors.h"

#include <QCoreApplication>
#include <QStringList>

void HBColor::setAttribute(const QVariant &value, const QString &key)
{
    if (value.isValid())
        m_attributes.insert(key, value);
    else
        m_attributes.remove(key);
    for (const std::weak_ptr<quint64> &owner : m_ownerRevisions) {
        if (const std::shared_ptr<quint64> revision = owner.lock())
            ++*revision;
    }
}

QList<HBColorRepresentationPtr> HBColor::representationsWithColorSpaceModel(HBColorSpaceModel model,
                                                                            const QVariantMap &options) const
{
    QList<HBColorRepresentationPtr> found;
    for (const HBColorRepresentationPtr &representation : m_representations) {
        if (representation->colorSpaceModel() != model)
            continue;
        bool matches = true;
        for (auto it = options.cbegin(); matches && it != options.cend(); ++it)
            matches = representation->attributeForKey(it.key()) == it.value();
        if (matches)
            found << representation;
    }
    return found;
}

void HBColor::addRepresentation(const HBColorRepresentationPtr &representation)
{
    if (representation)
        m_representations << representation;
}

void HBColor::addOwnerRevision(const std::shared_ptr<quint64> &revision)
{
    std::erase_if(m_ownerRevisions, [](const std::weak_ptr<quint64> &owner) { return owner.expired(); });
    m_ownerRevisions.push_back(revision);
}

QString HBColor::description() const
{
    QStringList parts;
    for (auto it = m_attributes.cbegin(); it != m_attributes.cend(); ++it)
        parts << QStringLiteral("%1=%2").arg(it.key(), it.value().toString());
    for (const HBColorRepresentationPtr &representation : m_representations)
        parts << representation->description();
    return QStringLiteral("<HBColor %1>").arg(parts.join(QStringLiteral(", ")));
}

QVariantMap HBColor::propertyList() const
{
    QVariantList representations;
    for (const HBColorRepresentationPtr &representation : m_representations)
        representations << representation->propertyList();
    return {{QStringLiteral("Attributes"), m_attributes}, {QStringLiteral("Representations"), representations}};
}

HBColorPtr HBColor::colorWithPropertyList(const QVariantMap &plist, VLError *error)
{
    HBColorPtr color = HBColor::color();
    color->m_attributes = plist.value(QStringLiteral("Attributes")).toMap();
    for (const QVariant &item : plist.value(QStringLiteral("Representations")).toList()) {
        HBColorRepresentationPtr representation =
            HBColorRepresentation::representationWithPropertyList(item.toMap(), error);
        if (!representation)
            return {};
        color->m_representations << representation;
    }
    return color;
}
