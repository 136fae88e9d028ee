#include "CatalogInspector.h"

#include <CXF3FandeckCustomResource.h>
#include <HBColorDocument.h>
#include <TX350CustomResource.h>

#include <QDateTime>
#include <QStringList>

namespace {

QString cell(const QVariant &value)
{
    QString text = value.metaType().id() == QMetaType::QDateTime
                       ? value.toDateTime().toUTC().toString(Qt::ISODateWithMs)
                       : value.toString();
    text.replace(QLatin1Char('\t'), QLatin1Char(' '));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    return text;
}

// D65 / 10 degree CIELAB of a colour: converted from its last spectrum that converts, else its
// last stored CIELAB.
HBColorRepresentationPtr labOf(const HBColor &color)
{
    const QVariantMap tenDegree{{HBColorRepIlluminantAttributeKey, HBIlluminantD65},
                                {HBColorRepObserverTypeAttributeKey, HBObserverTypeCIE1964TenDegree}};
    const QList<HBColorRepresentationPtr> spectra = color.representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    for (auto it = spectra.crbegin(); it != spectra.crend(); ++it) {
        if (HBColorRepresentationPtr lab = (*it)->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, tenDegree, nullptr))
            return lab;
    }
    const QList<HBColorRepresentationPtr> labs = color.representationsWithColorSpaceModel(HBColorSpaceModelCIELab);
    return labs.isEmpty() ? HBColorRepresentationPtr() : labs.last();
}

QString entryLine(const QString &title, const QVariantMap &entry, const QStringList &keys, const QStringList &names)
{
    QStringList cells{title};
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (entry.contains(keys[i]))
            cells << names[i] + QLatin1Char('=') + cell(entry.value(keys[i]));
    }
    return cells.join(QLatin1Char('\t'));
}

} // namespace

bool inspectColorDocument(const QString &path, QTextStream &out, VLError *error)
{
    HBColorDocumentPtr document = HBColorDocument::initWithFile(path, nullptr, error);
    if (!document)
        return false;
    for (const HBColorPtr &color : document->colors()) {
        QVariant id = color->attributeForKey(HBColorUniqueIdentifierAttributeKey);
        if (!id.isValid())
            id = color->attributeForKey(HBColorObjectIDAttributeKey);
        QStringList cells{cell(id), cell(color->attributeForKey(HBColorNameAttributeKey)),
                          cell(color->attributeForKey(HBColorNumberAttributeKey))};
        if (const HBColorRepresentationPtr lab = labOf(*color)) {
            cells << QString::number(lab->L(), 'f', 4) << QString::number(lab->a(), 'f', 4)
                  << QString::number(lab->b(), 'f', 4);
        } else {
            cells << QStringLiteral("-") << QStringLiteral("-") << QStringLiteral("-");
        }
        out << cells.join(QLatin1Char('\t')) << '\n';
    }
    out << '\n';

    const QStringList fandeckKeys = CXF3FandeckCustomResource::keys();
    const QStringList fandeckNames{QStringLiteral("GUID"), QStringLiteral("Name"), QStringLiteral("Edition"),
                                   QStringLiteral("Supplier"), QStringLiteral("Version")};
    const QVariantMap identity = CXF3FandeckCustomResource::resourceWithAttributes(document->attributes())->attributes();
    if (!identity.isEmpty())
        out << entryLine(QStringLiteral("Fandeck"), identity, fandeckKeys, fandeckNames) << '\n';

    for (const HBCustomResourcePtr &resource : document->customResources()) {
        if (const auto tx350 = resource.dynamicCast<TX350CustomResource>()) {
            const QStringList deckKeys{TX350CustomResourceFandeckIDKey, TX350CustomResourceFandeckGUIDKey,
                                       TX350CustomResourceFandeckNameKey, TX350CustomResourceFandeckEditionKey,
                                       TX350CustomResourceFandeckSupplierKey, TX350CustomResourceFandeckVersionKey};
            const QStringList deckNames{QStringLiteral("ID"),      QStringLiteral("GUID"),     QStringLiteral("Name"),
                                        QStringLiteral("Edition"), QStringLiteral("Supplier"), QStringLiteral("Version")};
            for (const QVariantMap &fandeck : tx350->fandecks())
                out << entryLine(QStringLiteral("TX350 Fandeck"), fandeck, deckKeys, deckNames) << '\n';
            const QStringList matchKeys{
                TX350CustomResourceMatchColorFandeckIDKey,     TX350CustomResourceMatchColorObjectIDKey,
                TX350CustomResourceMatchDateKey,               TX350CustomResourceMatchAudioSourceURIKey,
                TX350CustomResourceMatchTextKey,               TX350CustomResourceMatchDeviceManufacturerKey,
                TX350CustomResourceMatchDeviceModelKey,        TX350CustomResourceMatchDeviceSerialNumberKey};
            const QStringList matchNames{QStringLiteral("FandeckID"),          QStringLiteral("ObjectID"),
                                         QStringLiteral("Date"),               QStringLiteral("AudioSourceURI"),
                                         QStringLiteral("Text"),               QStringLiteral("DeviceManufacturer"),
                                         QStringLiteral("DeviceModel"),        QStringLiteral("DeviceSerialNumber")};
            for (const QVariantMap &match : tx350->matches())
                out << entryLine(QStringLiteral("TX350 Match"), match, matchKeys, matchNames) << '\n';
        } else {
            out << QStringLiteral("Other\t") << resource->description() << '\n';
        }
    }
    return true;
}
