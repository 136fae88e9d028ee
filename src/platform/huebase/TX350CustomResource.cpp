#include "TX350CustomResource.h"

#include "HBConstants.h"
#include "HBResourceEntries.h"

const QString TX350CustomResourceFandeckIDKey = QStringLiteral("TX350CustomResourceFandeckIDKey");
const QString TX350CustomResourceFandeckGUIDKey = QStringLiteral("TX350CustomResourceFandeckGUIDKey");
const QString TX350CustomResourceFandeckNameKey = QStringLiteral("TX350CustomResourceFandeckNameKey");
const QString TX350CustomResourceFandeckEditionKey = QStringLiteral("TX350CustomResourceFandeckEditionKey");
const QString TX350CustomResourceFandeckSupplierKey = QStringLiteral("TX350CustomResourceFandeckSupplierKey");
const QString TX350CustomResourceFandeckVersionKey = QStringLiteral("TX350CustomResourceFandeckVersionKey");
const QString TX350CustomResourceMatchColorFandeckIDKey = QStringLiteral("TX350CustomResourceMatchColorFandeckIDKey");
const QString TX350CustomResourceMatchColorObjectIDKey = QStringLiteral("TX350CustomResourceMatchColorObjectIDKey");
const QString TX350CustomResourceMatchDateKey = QStringLiteral("TX350CustomResourceMatchDateKey");
const QString TX350CustomResourceMatchAudioSourceURIKey = QStringLiteral("TX350CustomResourceMatchAudioSourceURIKey");
const QString TX350CustomResourceMatchTextKey = QStringLiteral("TX350CustomResourceMatchTextKey");
const QString TX350CustomResourceMatchDeviceManufacturerKey =
    QStringLiteral("TX350CustomResourceMatchDeviceManufacturerKey");
const QString TX350CustomResourceMatchDeviceModelKey = QStringLiteral("TX350CustomResourceMatchDeviceModelKey");
const QString TX350CustomResourceMatchDeviceSerialNumberKey =
    QStringLiteral("TX350CustomResourceMatchDeviceSerialNumberKey");

namespace {

const char *const kElementName = "TX350";
const char *const kFandeckElementName = "Fandeck";
const char *const kMatchElementName = "Match";

const QList<HBEntryField> &fandeckFields()
{
    static const QList<HBEntryField> list = {
        {TX350CustomResourceFandeckIDKey, "ID"},
        {TX350CustomResourceFandeckGUIDKey, "GUID"},
        {TX350CustomResourceFandeckNameKey, "Name"},
        {TX350CustomResourceFandeckEditionKey, "Edition"},
        {TX350CustomResourceFandeckSupplierKey, "Supplier"},
        {TX350CustomResourceFandeckVersionKey, "Version"},
    };
    return list;
}

const QList<HBEntryField> &matchFields()
{
    static const QList<HBEntryField> list = {
        {TX350CustomResourceMatchColorFandeckIDKey, "FandeckID"},
        {TX350CustomResourceMatchColorObjectIDKey, "ObjectID"},
        {TX350CustomResourceMatchDateKey, "Date"},
        {TX350CustomResourceMatchAudioSourceURIKey, "AudioSourceURI"},
        {TX350CustomResourceMatchTextKey, "Text"},
        {TX350CustomResourceMatchDeviceManufacturerKey, "DeviceManufacturer"},
        {TX350CustomResourceMatchDeviceModelKey, "DeviceModel"},
        {TX350CustomResourceMatchDeviceSerialNumberKey, "DeviceSerialNumber"},
    };
    return list;
}

bool isOwnElement(const xmlNode *node, const char *localName)
{
    return hbIsElement(node, HBCustomResourceNamespaceURI.toUtf8().constData(), localName);
}

} // namespace

bool TX350CustomResource::isElement(const _xmlNode *element)
{
    return isOwnElement(element, kElementName);
}

QSharedPointer<TX350CustomResource> TX350CustomResource::resourceWithElement(const _xmlNode *element)
{
    QSharedPointer<TX350CustomResource> resource = TX350CustomResource::resource();
    for (const xmlNode *child = hbFirstChildElement(element); child; child = hbNextElement(child)) {
        if (isOwnElement(child, kFandeckElementName))
            resource->addFandeck(hbReadEntryElement(child, fandeckFields(), {}));
        else if (isOwnElement(child, kMatchElementName))
            resource->addMatch(hbReadEntryElement(child, matchFields(), {TX350CustomResourceMatchDateKey}));
    }
    return resource;
}

QString TX350CustomResource::namespaceURI() const
{
    return HBCustomResourceNamespaceURI;
}

QString TX350CustomResource::localName() const
{
    return QString::fromLatin1(kElementName);
}

QString TX350CustomResource::description() const
{
    QString text = QStringLiteral("TX350 (%1 fandecks, %2 matches)").arg(m_fandecks.size()).arg(m_matches.size());
    for (const QVariantMap &fandeck : m_fandecks)
        text += QStringLiteral("\n  Fandeck ") + hbDescribeEntry(fandeck);
    for (const QVariantMap &match : m_matches)
        text += QStringLiteral("\n  Match ") + hbDescribeEntry(match);
    return text;
}

bool TX350CustomResource::appendToCustomResources(_xmlNode *customResources, VLError *) const
{
    xmlNode *element = hbAppendCustomResourceElement(customResources, kElementName);
    for (const QVariantMap &fandeck : m_fandecks)
        hbAppendEntryElement(element, kFandeckElementName, fandeck, fandeckFields());
    for (const QVariantMap &match : m_matches)
        hbAppendEntryElement(element, kMatchElementName, match, matchFields());
    return true;
}
