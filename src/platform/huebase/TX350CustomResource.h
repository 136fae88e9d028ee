#pragma once

#include "HBCustomResource.h"

#include <QList>
#include <QVariantMap>

// Keys of a fandeck entry.
extern const QString TX350CustomResourceFandeckIDKey;
extern const QString TX350CustomResourceFandeckGUIDKey;
extern const QString TX350CustomResourceFandeckNameKey;
extern const QString TX350CustomResourceFandeckEditionKey;
extern const QString TX350CustomResourceFandeckSupplierKey;
extern const QString TX350CustomResourceFandeckVersionKey;

// Keys of a match entry. The date is a QDateTime.
extern const QString TX350CustomResourceMatchColorFandeckIDKey;
extern const QString TX350CustomResourceMatchColorObjectIDKey;
extern const QString TX350CustomResourceMatchDateKey;
extern const QString TX350CustomResourceMatchAudioSourceURIKey;
extern const QString TX350CustomResourceMatchTextKey;
extern const QString TX350CustomResourceMatchDeviceManufacturerKey;
extern const QString TX350CustomResourceMatchDeviceModelKey;
extern const QString TX350CustomResourceMatchDeviceSerialNumberKey;

// The device's list of the fandecks used and the matches made, as exported with the matched colours.
class TX350CustomResource : public HBCustomResource
{
public:
    static QSharedPointer<TX350CustomResource> resource() { return QSharedPointer<TX350CustomResource>::create(); }
    static QSharedPointer<TX350CustomResource> resourceWithElement(const _xmlNode *element);
    static bool isElement(const _xmlNode *element);

    void addFandeck(const QVariantMap &fandeck) { m_fandecks << fandeck; }
    void addMatch(const QVariantMap &match) { m_matches << match; }
    const QList<QVariantMap> &fandecks() const { return m_fandecks; }
    const QList<QVariantMap> &matches() const { return m_matches; }

    QString namespaceURI() const override;
    QString localName() const override;
    QString description() const override;
    bool appendToCustomResources(_xmlNode *customResources, VLError *error) const override;

private:
    QList<QVariantMap> m_fandecks;
    QList<QVariantMap> m_matches;
};
