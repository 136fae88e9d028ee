#pragma once

#include "HBConstants.h"
#include "HBCustomResource.h"

#include <QVariantMap>

// A fandeck's identity (GUID, name, edition, supplier, version) under the CXF3FandeckCustomResource
// keys. Added to a document, its values become document attributes; a document whose attributes
// hold any of these keys writes them back as this resource.
class CXF3FandeckCustomResource : public HBCustomResource
{
public:
    static QSharedPointer<CXF3FandeckCustomResource> resourceWithAttributes(const QVariantMap &attributes);
    static QSharedPointer<CXF3FandeckCustomResource> resourceWithElement(const _xmlNode *element);
    static const QStringList &keys();
    static bool isElement(const _xmlNode *element);

    const QVariantMap &attributes() const { return m_attributes; }

    QString namespaceURI() const override;
    QString localName() const override;
    QString description() const override;
    bool appendToCustomResources(_xmlNode *customResources, VLError *error) const override;

private:
    QVariantMap m_attributes;
};
