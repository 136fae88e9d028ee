#include "CXF3FandeckCustomResource.h"

#include "HBResourceEntries.h"

namespace {

const char *const kElementName = "Fandeck";

const QList<HBEntryField> &fields()
{
    static const QList<HBEntryField> list = {
        {CXF3FandeckCustomResourceGUIDKey, "GUID"},         {CXF3FandeckCustomResourceNameKey, "Name"},
        {CXF3FandeckCustomResourceEditionKey, "Edition"},   {CXF3FandeckCustomResourceSupplierKey, "Supplier"},
        {CXF3FandeckCustomResourceVersionKey, "Version"},
    };
    return list;
}

} // namespace

const QStringList &CXF3FandeckCustomResource::keys()
{
    static const QStringList list = [] {
        QStringList names;
        for (const HBEntryField &field : fields())
            names << field.key;
        return names;
    }();
    return list;
}

QSharedPointer<CXF3FandeckCustomResource> CXF3FandeckCustomResource::resourceWithAttributes(
    const QVariantMap &attributes)
{
    QSharedPointer<CXF3FandeckCustomResource> resource(new CXF3FandeckCustomResource);
    for (const QString &key : keys()) {
        if (attributes.contains(key))
            resource->m_attributes.insert(key, attributes.value(key));
    }
    return resource;
}

bool CXF3FandeckCustomResource::isElement(const _xmlNode *element)
{
    return hbIsElement(element, HBCustomResourceNamespaceURI.toUtf8().constData(), kElementName);
}

QSharedPointer<CXF3FandeckCustomResource> CXF3FandeckCustomResource::resourceWithElement(const _xmlNode *element)
{
    QSharedPointer<CXF3FandeckCustomResource> resource(new CXF3FandeckCustomResource);
    resource->m_attributes = hbReadEntryElement(element, fields(), {});
    return resource;
}

QString CXF3FandeckCustomResource::namespaceURI() const
{
    return HBCustomResourceNamespaceURI;
}

QString CXF3FandeckCustomResource::localName() const
{
    return QString::fromLatin1(kElementName);
}

QString CXF3FandeckCustomResource::description() const
{
    return QStringLiteral("Fandeck ") + hbDescribeEntry(m_attributes);
}

bool CXF3FandeckCustomResource::appendToCustomResources(_xmlNode *customResources, VLError *) const
{
    hbAppendEntryElement(customResources, kElementName, m_attributes, fields());
    return true;
}
