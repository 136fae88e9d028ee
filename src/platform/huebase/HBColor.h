#pragma once

#include "HBColorRepresentation.h"

#include <QList>
#include <QSharedPointer>
#include <QVariantMap>

#include <memory>
#include <vector>

class HBColor;
using HBColorPtr = QSharedPointer<HBColor>;

// A colour: its attributes (name, number, identifiers, anything else) and its representations.
// Not thread-safe: one thread at a time.
class HBColor
{
public:
    HBColor() = default;
    HBColor(const HBColor &) = delete;
    HBColor &operator=(const HBColor &) = delete;

    static HBColorPtr color() { return HBColorPtr(new HBColor); }

    const QVariantMap &attributes() const { return m_attributes; }
    QVariant attributeForKey(const QString &key) const { return m_attributes.value(key); }
    // An invalid QVariant removes the attribute.
    void setAttribute(const QVariant &value, const QString &key);

    const QList<HBColorRepresentationPtr> &representations() const { return m_representations; }
    // The representations of one model, in order; `options` narrows them to those whose
    // attributes hold every given key with the given value.
    QList<HBColorRepresentationPtr> representationsWithColorSpaceModel(HBColorSpaceModel model,
                                                                       const QVariantMap &options = {}) const;
    void addRepresentation(const HBColorRepresentationPtr &representation);

    QString description() const;

    // Plain property-list form (attributes and representations) and back, for wire codings.
    QVariantMap propertyList() const;
    static HBColorPtr colorWithPropertyList(const QVariantMap &plist, VLError *error);

private:
    friend class HBColorDocument;
    // Documents holding this colour keep look-up indexes; a changed attribute makes them stale.
    void addOwnerRevision(const std::shared_ptr<quint64> &revision);

    QVariantMap m_attributes;
    QList<HBColorRepresentationPtr> m_representations;
    std::vector<std::weak_ptr<quint64>> m_ownerRevisions;
};
