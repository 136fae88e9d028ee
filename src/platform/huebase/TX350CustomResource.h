#pragma once

#include "HBCustomResource.h"

#include <QList>
#include <QVariantMap>

// Keys of a fandeck entry.
inline const QString TX350CustomResourceFandeckIDKey = QStringLiteral("TX350CustomResourceFandeckIDKey");
inline const QString TX350CustomResourceFandeckGUIDKey = QStringLiteral("TX350CustomResourceFandeckGUIDKey");
inline const QString TX350CustomResourceFandeckNameKey = QStringLiteral("TX350CustomResourceFandeckNameKey");
inline const QString TX350CustomResourceFandeckEditionKey = QStringLiteral("TX350CustomResourceFandeckEditionKey");
inline const QString TX350CustomResourceFandeckSupplierKey = QStringLiteral("TX350CustomResourceFandeckSupplierKey");
inline const QString TX350CustomResourceFandeckVersionKey = QStringLiteral("TX350CustomResourceFandeckVersionKey");

// Keys of a match entry. The date is a QDateTime.
inline const QString TX350CustomResourceMatchColorFandeckIDKey =
    QStringLiteral("TX350CustomResourceMatchColorFandeckIDKey");
inline const QString TX350CustomResourceMatchColorObjectIDKey =
    QStringLiteral("TX350CustomResourceMatchColorObjectIDKey");
inline const QString TX350CustomResourceMatchDateKey = QStringLiteral("TX350CustomResourceMatchDateKey");
inline const QString TX350CustomResourceMatchAudioSourceURIKey =
    QStringLiteral("TX350CustomResourceMatchAudioSourceURIKey");
inline const QString TX350CustomResourceMatchTextKey = QStringLiteral("TX350CustomResourceMatchTextKey");
inline const QString TX350CustomResourceMatchDeviceManufacturerKey =
    QStringLiteral("TX350CustomResourceMatchDeviceManufacturerKey");
inline const QString TX350CustomResourceMatchDeviceModelKey = QStringLiteral("TX350CustomResourceMatchDeviceModelKey");
inline const QString TX350CustomResourceMatchDeviceSerialNumberKey =
    QStringLiteral("TX350CustomResourceMatchDeviceSerialNumberKey");

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
